// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"
#include "platform/linux/desktop/front_window_source.h"
#include "platform/linux/desktop/window_backend.h"
#include "platform/window_title.h"

#include <QObject>
#include <QString>

#include <deque>
#include <functional>
#include <memory>
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
/// Main thread.
class WindowChoice final : public QObject, public FrontmostApplication, public WindowTitle
{
    Q_OBJECT

public:
    /// Where nothing else is there, this is tried once: a back-end, or none where that is not to be
    /// had either.
    using LastResort = std::function<std::optional<WindowBackend>()>;

    /// `names` must outlive this.
    explicit WindowChoice(xdg::ApplicationNames& names);
    WindowChoice(const WindowChoice&) = delete;
    WindowChoice& operator=(const WindowChoice&) = delete;
    ~WindowChoice() override;

    /// Adds the next best source, which must outlive this. `limitation` is a sentence that tells
    /// the user what it does not see; empty when it sees everything.
    void add(FrontWindowSource& source, const QString& limitation = {});

    /// The same for a source that costs something while it exists: `make` is called once all before
    /// it are absent. It keeps what it makes.
    void addWhenNeeded(std::function<FrontWindowSource&()> make, const QString& limitation = {});

    /// A back-end that needs no source. `name` is a phrase for the user, `limitation` as above.
    void setLastResort(const QString& name, const QString& limitation, LastResort backend);

    /// Whether nothing is to be in front whatever the sources say: the session is locked.
    void setLocked(bool isLocked) { m_isLocked = isLocked; }

    /// Whether a source is still being asked that would be chosen.
    [[nodiscard]] bool isUndecided() const;

    /// Whether anybody answers.
    [[nodiscard]] bool hasAnswer() const { return m_chosen.application != nullptr; }

    /// The name of what answers; empty when nothing does.
    [[nodiscard]] const QString& nameOfChosen() const { return m_chosenName; }

    /// What is not seen and what the user can do about it, as whole sentences; empty where
    /// everything is seen and while that is being found out.
    [[nodiscard]] QString notice() const;

    /// As in the interface; a browser's identifier carries the dialect that it answers to.
    [[nodiscard]] std::optional<Application> frontmostApplication() override;
    [[nodiscard]] std::optional<QString>
    focusedWindowTitle(const Application& application) override;

    /// What was answered last: the application, with its window's title if that was asked for, too.
    struct Answer
    {
        Application application;
        QString title;
    };

    [[nodiscard]] const std::optional<Answer>& latest() const { return m_latest; }

Q_SIGNALS:
    /// Something else answers now, or the notice may be another one.
    void changed();

private:
    struct Candidate;

    struct Promise
    {
        std::function<FrontWindowSource&()> make;
        QString limitation;
    };

    void choose();
    [[nodiscard]] QString advice() const;

    xdg::ApplicationNames& m_names;
    std::vector<std::unique_ptr<Candidate>> m_candidates;
    std::deque<Promise> m_promises;
    QString m_lastResortName;
    QString m_lastResortLimitation;
    LastResort m_lastResort;
    std::optional<WindowBackend> m_triedLastResort;
    WindowBackend m_chosen;
    QString m_chosenName;
    QString m_limitation;
    std::optional<Answer> m_latest;
    bool m_isLocked = false;
};

} // namespace platform::desktop
