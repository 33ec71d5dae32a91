// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/extension_state.h"

#include <QDBusVariant>
#include <QStandardPaths>

#include <chrono>
#include <utility>

namespace platform::gnome {

namespace {

constexpr std::chrono::milliseconds kShortestPause(200);

const QString kPath = QStringLiteral("/org/gnome/Shell");
const QString kInterface = QStringLiteral("org.gnome.Shell.Extensions");

bool isInstalled()
{
    return !QStandardPaths::locate(
                QStandardPaths::GenericDataLocation,
                QStringLiteral("gnome-shell/extensions/%1/metadata.json").arg(extensionUuid()))
                .isEmpty();
}

/// The shell's numbers for the state of an extension; the same in all versions that have them.
enum class ShellState : std::uint8_t {
    Enabled = 1,
    Disabled = 2,
    Error = 3,
    OutOfDate = 4,
    Initialized = 6,
    Disabling = 7,
    Enabling = 8,
    Uninstalled = 99,
};

} // namespace

QString extensionUuid()
{
    return QStringLiteral(GNOME_EXTENSION_UUID);
}

ExtensionState extensionState(const QVariantMap& info, bool extensionsAreOn, bool isInstalled)
{
    if (info.isEmpty())
        return isInstalled ? ExtensionState::NotLoaded : ExtensionState::NotInstalled;
    // Zero, which is none of them, when it is no number.
    const double number = info.value(QStringLiteral("state")).toDouble();
    const auto is = [number](ShellState each) {
        return number == static_cast<double>(each);
    };
    if (is(ShellState::Error))
        return ExtensionState::Failed;
    if (is(ShellState::OutOfDate))
        return ExtensionState::Outdated;
    if (is(ShellState::Uninstalled))
        return ExtensionState::NotInstalled;
    if (is(ShellState::Disabled) || is(ShellState::Initialized) || is(ShellState::Disabling))
        return extensionsAreOn ? ExtensionState::SwitchedOff : ExtensionState::AllOff;
    return is(ShellState::Enabled) || is(ShellState::Enabling) ? ExtensionState::Working
                                                               : ExtensionState::Unknown;
}

QString adviceFor(ExtensionState state)
{
    switch (state) {
    case ExtensionState::Unknown:
    case ExtensionState::Working:
        return {};
    case ExtensionState::NotInstalled:
        return QStringLiteral("GNOME tells which window is in front only to its extensions, and "
                              "ours is not installed. Install this program with its extension %1, "
                              "then log out and in again.")
            .arg(extensionUuid());
    case ExtensionState::NotLoaded:
        return QStringLiteral("The GNOME extension that tells which window is in front has been "
                              "installed, but GNOME has not loaded it yet. Log out and in again, "
                              "then run \"gnome-extensions enable %1\".")
            .arg(extensionUuid());
    case ExtensionState::SwitchedOff:
        return QStringLiteral("The GNOME extension that tells which window is in front is switched "
                              "off. Switch it on in the program Extensions, or run "
                              "\"gnome-extensions enable %1\".")
            .arg(extensionUuid());
    case ExtensionState::AllOff:
        return QStringLiteral("All extensions of GNOME are switched off, also the one that tells "
                              "which window is in front. Switch them on in the program Extensions, "
                              "or run \"gsettings set org.gnome.shell disable-user-extensions "
                              "false\", and then \"gnome-extensions enable %1\".")
            .arg(extensionUuid());
    case ExtensionState::Failed:
        return QStringLiteral("The GNOME extension that tells which window is in front has failed. "
                              "\"gnome-extensions info %1\" says more; log out and in again to "
                              "start it anew.")
            .arg(extensionUuid());
    case ExtensionState::Outdated:
        return QStringLiteral("The GNOME extension that tells which window is in front is made for "
                              "another version of GNOME. Install the version of this program that "
                              "is made for yours, then log out and in again.");
    }
    return {};
}

ExtensionQuestion::ExtensionQuestion(QDBusConnection bus)
    : m_bus(std::move(bus))
{
    m_pause.setSingleShot(true);
    connect(&m_pause, &QTimer::timeout, this, [this] {
        if (m_isDue)
            ask();
    });
    // The first argument says which extension, or whose properties.
    const char* const slot = SLOT(hear(QDBusMessage));
    m_bus.connect(QString(),
                  kPath,
                  kInterface,
                  QStringLiteral("ExtensionStateChanged"),
                  {extensionUuid()},
                  {},
                  this,
                  slot);
    m_bus.connect(QString(),
                  kPath,
                  dbus::kPropertiesInterface,
                  QStringLiteral("PropertiesChanged"),
                  {kInterface},
                  {},
                  this,
                  slot);
}

void ExtensionQuestion::setShell(const QString& shell)
{
    if (shell == m_shell)
        return;
    m_shell = shell;
    m_informationQuestion.forget();
    m_switchQuestion.forget();
    m_pause.stop();
    m_isDue = false;
    set(ExtensionState::Unknown);
    if (!m_shell.isEmpty())
        ask();
}

void ExtensionQuestion::hear(const QDBusMessage& signal)
{
    if (signal.service() == m_shell)
        ask();
}

void ExtensionQuestion::ask()
{
    // What is asked now may be outdated when it is answered.
    m_isDue = m_informationQuestion.isAsked() || m_switchQuestion.isAsked() || m_pause.isActive();
    if (m_isDue)
        return;
    m_pause.start(kShortestPause);
    m_informationQuestion.ask<QVariantMap>(
        m_bus,
        dbus::callOf(
            m_shell, kPath, kInterface, QStringLiteral("GetExtensionInfo"), {extensionUuid()}),
        [this](const QDBusPendingReply<QVariantMap>& reply) {
            m_information = reply.isError() ? std::nullopt : std::optional(reply.value());
            decide();
        });
    m_switchQuestion.ask<QDBusVariant>(
        m_bus,
        dbus::readOf(m_shell, kPath, kInterface, QStringLiteral("UserExtensionsEnabled")),
        [this](const QDBusPendingReply<QDBusVariant>& reply) {
            m_extensionsAreOn = reply.isError() || reply.value().variant().toBool();
            decide();
        });
}

void ExtensionQuestion::decide()
{
    if (m_informationQuestion.isAsked() || m_switchQuestion.isAsked())
        return;
    if (m_isDue)
        ask();
    set(m_information ? extensionState(*m_information,
                                       m_extensionsAreOn,
                                       !m_information->isEmpty() || isInstalled())
                      : ExtensionState::Unknown);
}

void ExtensionQuestion::set(ExtensionState state)
{
    if (state == m_state)
        return;
    m_state = state;
    qCInfo(lcGnome) << "state of the extension:" << static_cast<int>(state);
    Q_EMIT changed();
}

} // namespace platform::gnome
