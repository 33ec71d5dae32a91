// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/sources.h"
#include "platform/frontmost_application.h"
#include "platform/idle_time.h"
#include "platform/window_title.h"

#include <QObject>
#include <QString>

#include <deque>
#include <functional>
#include <optional>
#include <vector>

namespace platform::xdg {
class ApplicationNames;
}

namespace platform::desktop {

/// The front window as the best of several sources knows it. Sources come and go with compositors
/// and extensions; the choice follows at once. The first one that is there answers; while an
/// earlier one is still being asked nothing is in front, because a later one may be wrong where the
/// earlier one is right.
/// The source is asked once for each answer: the two interfaces are views of the same one.
/// Main thread.
class WindowChoice final : public QObject, public FrontmostApplication, public WindowTitle
{
    Q_OBJECT

public:
    /// `names` must outlive this.
    explicit WindowChoice(xdg::ApplicationNames& names);

    /// Adds the next best source, which must outlive this. `limitation` is a sentence that tells
    /// the user what it does not see; empty when it sees everything.
    void add(FrontWindowSource& source, const QString& limitation = {});

    /// The same for a source that costs something while it exists: `make` is called once, when all
    /// before it are absent. It keeps what it makes; null where that is not to be had.
    void addWhenNeeded(std::function<FrontWindowSource*()> make, const QString& limitation = {});

    /// Whether nothing is to be in front whatever the sources say: the session is locked.
    void setLocked(bool isLocked);

    /// Whether a source is still being asked that would be chosen.
    [[nodiscard]] bool isUndecided() const;

    /// Whether anybody answers.
    [[nodiscard]] bool hasAnswer() const { return m_chosen.source != nullptr; }

    /// The name of what answers; empty when nothing does.
    [[nodiscard]] QString nameOfChosen() const;

    /// What is not seen and what the user can do about it, as whole sentences; empty where
    /// everything is seen and while that is being found out.
    [[nodiscard]] QString notice() const;

    /// As in the interface; a browser's identifier carries the dialect that it answers to. The
    /// first answer waits until the desktop files have been read.
    [[nodiscard]] std::optional<Application> frontmostApplication() override;

    /// The title that was seen with `application`, which must be the latest answer: any other one
    /// has none.
    [[nodiscard]] std::optional<QString>
    focusedWindowTitle(const Application& application) override;

    /// One look at the window in front.
    struct Answer
    {
        Application application;
        QString title; ///< empty also for a window without one
    };

    /// What frontmostApplication() has answered last; none when it was none, and where another
    /// source has been chosen since.
    [[nodiscard]] const std::optional<Answer>& latest() const { return m_latest; }

Q_SIGNALS:
    /// Something else answers now, or the notice may be another one.
    void changed();

private:
    struct Candidate
    {
        FrontWindowSource* source = nullptr; ///< null: none
        QString limitation;
    };

    struct Promise
    {
        std::function<FrontWindowSource*()> make;
        QString limitation;
    };

    [[nodiscard]] Candidate firstPresent() const;
    [[nodiscard]] QString advice() const;
    void listenTo(FrontWindowSource& source, const QString& limitation);
    void choose();

    xdg::ApplicationNames& m_names;
    std::vector<Candidate> m_candidates;
    std::deque<Promise> m_promises;
    Candidate m_chosen;
    bool m_isLocked = false;
    std::optional<Answer> m_latest;
    /// What it was made of.
    FrontWindow m_front;
    int m_edition = 0;
};

/// The idle time as the best of several sources knows it: the first one that is there. Unknown
/// where none is.
/// Main thread.
class IdleChoice final : public IdleTime
{
public:
    /// Adds the next best source, which must outlive this.
    void add(IdleSource& source);

    /// Whether a source is still being asked that would be chosen.
    [[nodiscard]] bool isUndecided() const;

    /// The name of what answers; empty when nothing does.
    [[nodiscard]] QString nameOfChosen() const;

    [[nodiscard]] double secondsSinceLastInput() override;

private:
    [[nodiscard]] IdleSource* present() const;

    std::vector<IdleSource*> m_sources;
};

} // namespace platform::desktop
