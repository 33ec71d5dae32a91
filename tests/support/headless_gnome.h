// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/bus_daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/desktop_session.h"
#include "tests/support/private_home.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantList>

#include <cstdint>

namespace support {

/// GNOME Shell under Wayland, without a screen, with a session bus and what it takes for its system
/// bus. Its settings are a file in the private home. The shell runs any script it is given over its
/// bus, which no real one does.
/// Main thread; calls as in the interface.
class HeadlessGnome final : public DesktopSession
{
public:
    /// The extension of our program, when the shell starts: installed and enabled, installed only,
    /// enabled only.
    enum class Extension : std::uint8_t { On, Off, Missing };

    /// `language` is the one of the user, such as "de", as far as texts go.
    explicit HeadlessGnome(Extension extension = Extension::On, QString language = {});
    ~HeadlessGnome() override;

    [[nodiscard]] QStringList programs() const override;
    [[nodiscard]] platform::Outcome start() override;
    [[nodiscard]] QProcessEnvironment environment() const override;
    [[nodiscard]] platform::Outcome focus(const TestWindow& window) override;
    [[nodiscard]] platform::Outcome showEmptyWorkspace() override;
    [[nodiscard]] platform::Outcome showFirstWorkspace() override;
    [[nodiscard]] platform::Outcome makeInput() override;
    /// Ends the shell; the bus goes on.
    void killDisplay() override;

    /// Starts the shell anew after killDisplay().
    [[nodiscard]] platform::Outcome startShell();

    /// Makes the shell hang, and go on.
    void pauseShell();
    void resumeShell();

    /// Puts the extension where the shell looks for it when it starts.
    [[nodiscard]] platform::Outcome installExtension();

    /// Switches the extension on or off, as the user would. Returns when the shell has been asked.
    [[nodiscard]] platform::Outcome setExtensionEnabled(bool enabled);

    /// The address of the session bus.
    [[nodiscard]] const QString& busAddress() const { return m_bus.address(); }

    /// $XDG_DATA_HOME, also before start(), and the folder of the extension in it.
    [[nodiscard]] QString dataHome() const;
    [[nodiscard]] QString extensionFolder() const;

    /// The milliseconds since the last input as the shell says, -1 when it does not.
    [[nodiscard]] qint64 idleMilliseconds();

    /// What the shell gets when it evaluates `script`, in JSON.
    [[nodiscard]] platform::Result<QString> evaluate(const QString& script);

private:
    [[nodiscard]] platform::Outcome writeSettings() const;
    [[nodiscard]] platform::Outcome takeSeat();
    [[nodiscard]] platform::Outcome leaveOverview();
    [[nodiscard]] platform::Outcome pressKey(uint code);
    [[nodiscard]] platform::Outcome showWorkspace(const QString& index);
    [[nodiscard]] bool isTrue(const QString& script);
    [[nodiscard]] QDBusMessage call(const QString& name,
                                    const QString& path,
                                    const QString& interface,
                                    const QString& method,
                                    const QVariantList& arguments = {});

    Extension m_extension;
    QString m_language;
    PrivateHome m_home;
    BusDaemon m_systemBus;
    BusDaemon m_bus;
    QString m_connectionName;
    QDBusConnection m_connection;
    QString m_seat; ///< the object that presses keys; the keyboard is there while it is
    ChildProcess m_shell;
};

} // namespace support
