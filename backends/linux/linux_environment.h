// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/standard_output.h"
#include "base/result.h"
#include "platform/desktop_notice.h"
#include "platform/environment.h"

#include <QDBusConnection>
#include <QFuture>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <memory>
#include <unistd.h>

namespace platform {

/// The Linux desktop that the process runs in. The one place where back-ends are chosen: by what
/// really answers, not by the desktop's name. What answers may change while the process runs; the
/// facilities then go over to something else by themselves.
/// Main thread.
class LinuxEnvironment final : public DesktopNotice
{
    Q_OBJECT

public:
    /// Looks around and connects. `sessionBus` is the connection that owns this application's name,
    /// to which some desktops tell what they tell nobody else; it need not be connected. Fails when
    /// there is no display to connect to. May block on the display server and the system bus.
    /// The diagnostic lines go to the file descriptor `output`, which stays the caller's and leads
    /// to `sink`.
    [[nodiscard]] static Result<std::unique_ptr<LinuxEnvironment>>
    create(const QDBusConnection& sessionBus,
           int output = STDOUT_FILENO,
           posix::StdoutDiagnostics::Sink sink = posix::StdoutDiagnostics::Sink::Plain);

    /// Whether there is a display to connect to. Needs no application, which the toolkit cannot
    /// make without a display.
    [[nodiscard]] static Outcome checkDisplay();

    ~LinuxEnvironment() override;

    /// What to install; valid while this object lives.
    [[nodiscard]] const Environment& facilities() const;

    /// As in the interface. Follows the desktop some seconds late, so that a compositor that is
    /// only restarting goes unmentioned.
    [[nodiscard]] QString notice() const override { return m_notice; }

    /// Waits, running the event loop, until it is known what answers; gives up after `limit`.
    void waitUntilDecided(std::chrono::milliseconds limit);

    /// The system's bus; not connected where there is none.
    [[nodiscard]] QDBusConnection systemBus() const;

    /// Waits until the settings are on the disk; false after `limit`.
    [[nodiscard]] bool finishSettings(std::chrono::milliseconds limit);

    /// Waits, running the event loop, until the keyring has done what it was asked for; false after
    /// `limit`.
    [[nodiscard]] bool finishKeyring(std::chrono::milliseconds limit);

    /// How the keyring is, as a phrase, within three seconds and without a prompt.
    [[nodiscard]] QFuture<QString> keyringState();

    /// What was found, a line each, "what: answer". Nothing in it is personal: no titles, no names
    /// of applications.
    [[nodiscard]] QStringList report() const;

Q_SIGNALS:
    /// The display server has gone; nothing can be recorded any more.
    void sessionEnded(const QString& reason);

private:
    struct Backends;

    explicit LinuxEnvironment(std::unique_ptr<Backends> backends);

    void updateNotice();

    std::unique_ptr<Backends> m_backends;
    Environment m_facilities;
    QString m_notice;
    QTimer m_noticeDelay;
};

} // namespace platform
