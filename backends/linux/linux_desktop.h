// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/application_service.h"
#include "backends/dbus/sleep_watch.h"
#include "backends/linux/linux_environment.h"
#include "base/result.h"
#include "platform/desktop.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>

namespace platform {

/// The program's place on the desktop of its user, from the start of the process to its end: the
/// toolkit, the name on the session bus, the signals, and everything that the application and the
/// services are built on. Its three steps are start(), open() and begin().
/// Main thread. One in a process.
class LinuxDesktop final : public QObject
{
    Q_OBJECT

public:
    /// What has become of a folder that one process at a time may use.
    struct FolderLock
    {
        bool isTakenByAnother = false;
        /// What to tell the user, of a success, too; empty when there is nothing.
        QString problem;
    };

    /// `argc` and `argv` are those of main(). From now on the signals that end a process wait for
    /// open().
    LinuxDesktop(int argc, char** argv);
    ~LinuxDesktop() override;
    LinuxDesktop(const LinuxDesktop&) = delete;
    LinuxDesktop& operator=(const LinuxDesktop&) = delete;

    /// Becomes the instance that runs, or hands `request` over to the one that does, before there
    /// is a toolkit or a display; see dbus::claimOrHandOver().
    [[nodiscard]] dbus::StartResult start(const std::optional<dbus::ApplicationCall>& request);

    /// Connects to the display and makes the rest. The error says what there is none of.
    [[nodiscard]] Outcome open();

    // All below is for the time after open().

    /// What the services are built on.
    [[nodiscard]] LinuxEnvironment& environment();

    /// What the application is built on.
    [[nodiscard]] Desktop facilities();

    /// What others ask of this instance; from begin() on.
    [[nodiscard]] ApplicationRequests& requests() { return m_requests; }

    /// Takes `folder` for this process, waiting at most `limit` for one that is about to end. A
    /// folder that cannot be locked is not taken by another.
    [[nodiscard]] FolderLock lock(const QString& folder, std::chrono::milliseconds limit);

    /// Has `prepare` done before the machine goes to sleep.
    void prepareForSleep(dbus::SleepWatch::Preparation prepare);

    /// From now on what others ask is told.
    void begin();

    /// Gives the name back: the next start becomes the instance that runs. To be called first thing
    /// when the program begins to end.
    void release() { m_requests.release(); }

    /// calm() comes later: memory has just been used that will not be soon again.
    void waitForCalm();

    /// Becomes the program anew, as the bus would start it. Returns only when that fails, with the
    /// reason.
    [[nodiscard]] QString startAnew();

Q_SIGNALS:
    /// A signal has asked the process to end.
    void endRequested();

    /// The program has an address of our scheme opened.
    void ownUrlOpened(const QString& url);

    /// The session bus went away, and the icon with it or not. Once.
    void busLost(bool takesIcon);

    /// There is a session bus again, after busLost(); the program can only start anew to use it.
    void busReturned();

    /// Nothing has happened for a while that takes memory.
    void calm();

private:
    struct Parts;

    int m_argc;
    char** m_argv;
    QByteArray m_journalStream; // as it was when the program was started
    dbus::ApplicationService m_requests;
    std::unique_ptr<Parts> m_parts; // what open() has made
};

} // namespace platform
