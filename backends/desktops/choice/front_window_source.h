// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/presence.h"
#include "backends/desktops/choice/front_window.h"

#include <QObject>
#include <QString>

#include <optional>

namespace platform::desktop {

/// One way in which a desktop tells of the window in front. A source keeps itself up to date from
/// what the desktop sends; asking it costs nothing.
/// Main thread, with an event loop.
class FrontWindowSource : public QObject
{
    Q_OBJECT

public:
    FrontWindowSource() = default;
    FrontWindowSource(const FrontWindowSource&) = delete;
    FrontWindowSource& operator=(const FrontWindowSource&) = delete;
    ~FrontWindowSource() override = default;

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

} // namespace platform::desktop
