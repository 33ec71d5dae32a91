// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/idle_time.h"

#include <QLoggingCategory>
#include <QObject>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace platform::desktop {

/// "velomira.windows": what answers for the window in front and the idle time, and what has come or
/// gone. Never a window's name or title.
Q_DECLARE_LOGGING_CATEGORY(lcWindows)

/// Whether a facility of the desktop is there.
enum class Presence : std::uint8_t {
    Asking, ///< Nobody has answered yet; becomes one of the others within some seconds.
    Here,   ///< It answers.
    Absent, ///< It does not exist on this desktop, or not at present.
};

/// For the log.
[[nodiscard]] constexpr const char* nameOf(Presence presence)
{
    if (presence == Presence::Asking)
        return "asking";
    return presence == Presence::Here ? "here" : "absent";
}

/// The longest texts that are handed on, in bytes of UTF-8: a longer title is cut, a longer
/// identifier names nothing.
inline constexpr std::size_t kLongestTitle = 16'384;
inline constexpr std::size_t kLongestIdentifier = 1'024;

/// The window that has the focus, as a desktop tells of it.
struct FrontWindow
{
    /// Tells windows of one source apart, never 0; not given to another window while the process
    /// runs.
    std::uint64_t window = 0;
    /// What may lead to its application, the most telling first, without empty ones: ids of desktop
    /// files without ".desktop", application ids, window classes.
    QStringList identifiers;
    /// The application's name in the user's language, where the desktop itself knows it.
    std::optional<QString> name;
    /// Its process, 0 when the desktop does not tell.
    std::int32_t processIdentifier = 0;
    /// Its title; none when it has none or the desktop does not tell.
    std::optional<QString> title;

    bool operator==(const FrontWindow&) const = default;

    /// Adds what may lead to its application, unless it is empty, there already or too long to be
    /// meant.
    void addIdentifier(const QString& text)
    {
        if (!text.isEmpty() && !identifiers.contains(text) &&
            std::cmp_less_equal(text.toUtf8().size(), kLongestIdentifier))
            identifiers.append(text);
    }
};

/// One way in which a desktop tells of the window in front. A source keeps itself up to date from
/// what the desktop sends; asking it costs nothing.
/// Main thread, with an event loop.
class FrontWindowSource : public QObject
{
    Q_OBJECT

public:
    /// A phrase for the user: "KWin script".
    [[nodiscard]] virtual QString name() const = 0;

    [[nodiscard]] virtual Presence presence() const = 0;

    /// The window in front by the latest that is known, never by waiting for anybody. None while
    /// the source is not there, when nothing has the focus, and when what has it is no
    /// application's window: the desktop itself, a panel, a lock screen.
    [[nodiscard]] virtual std::optional<FrontWindow> frontWindow() const = 0;

    /// To be called before a question that is to be answered by what holds now: takes in what the
    /// desktop has told until now and nobody has looked at yet, and asks, for the next question,
    /// what is told to nobody unasked. Waits for nobody but an X server: microseconds, and
    /// a second once if it hangs; presenceChanged() may come before it returns.
    virtual void update() {}

    /// What the user can do so that an absent source would answer, as whole sentences; empty when
    /// there is nothing to do or the source does not belong to this desktop.
    [[nodiscard]] virtual QString advice() const { return {}; }

Q_SIGNALS:
    /// The presence or the advice is another one now.
    void presenceChanged();
};

/// One way in which a desktop tells how long the user has been idle.
/// Main thread, with an event loop.
class IdleSource : public QObject, public IdleTime
{
    Q_OBJECT

public:
    /// The protocol's or interface's name, for --diagnose.
    [[nodiscard]] virtual QString name() const = 0;

    [[nodiscard]] virtual Presence presence() const = 0;

    /// Seconds since the last input by the latest that is known, at least 0; not-a-number while
    /// unknown. Never waits.
    [[nodiscard]] double secondsSinceLastInput() override = 0;

Q_SIGNALS:
    /// The presence is another one now.
    void presenceChanged();
};

} // namespace platform::desktop
