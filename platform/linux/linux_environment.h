// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/environment.h"
#include "platform/result.h"

#include <QFuture>
#include <QObject>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>

namespace platform {

/// The Linux desktop that the process runs in. The one place where back-ends are chosen: by what
/// really answers, not by the desktop's name.
/// Main thread.
class LinuxEnvironment final : public QObject
{
    Q_OBJECT

public:
    /// Looks around and connects. Fails when there is no display to connect to. May block on the
    /// display server.
    [[nodiscard]] static Result<std::unique_ptr<LinuxEnvironment>> create();

    /// Whether there is a display to connect to. Needs no application, which the toolkit cannot
    /// make without a display.
    [[nodiscard]] static Outcome checkDisplay();

    ~LinuxEnvironment() override;

    /// What to install; valid while this object lives.
    [[nodiscard]] const Environment& facilities() const;

    /// Why nothing can be recorded here, as one sentence; empty on a supported desktop.
    [[nodiscard]] QString limitation() const;

    /// Waits, running the event loop, until the settings are on the disk and the keyring has done
    /// what it was asked for; false after `limit`.
    [[nodiscard]] bool finish(std::chrono::milliseconds limit);

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

    std::unique_ptr<Backends> m_backends;
    Environment m_facilities;
};

} // namespace platform
