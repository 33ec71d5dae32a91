// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gnome/extension_question.h"

#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QStandardPaths>

#include <array>
#include <chrono>
#include <utility>

namespace platform::gnome {

namespace {

constexpr std::chrono::milliseconds kShortestPause(200);
constexpr int kLimitMs = 5000; // nobody waits for it, and it is asked seldom

const QString kPath = QStringLiteral("/org/gnome/Shell");
const QString kInterface = QStringLiteral("org.gnome.Shell.Extensions");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

bool isInstalled()
{
    return !QStandardPaths::locate(
                QStandardPaths::GenericDataLocation,
                QStringLiteral("gnome-shell/extensions/%1/metadata.json").arg(extensionUuid()))
                .isEmpty();
}

} // namespace

ExtensionQuestion::ExtensionQuestion(QDBusConnection bus)
    : m_bus(std::move(bus))
{
    m_pause.setSingleShot(true);
    connect(&m_pause, &QTimer::timeout, this, [this] {
        if (m_isDue)
            ask();
    });
}

ExtensionQuestion::~ExtensionQuestion() = default;

void ExtensionQuestion::setShell(const QString& shell)
{
    if (shell == m_shell)
        return;
    if (!m_shell.isEmpty())
        listen(false);
    m_shell = shell;
    m_information.reset();
    m_switch.reset();
    m_pause.stop();
    m_isDue = false;
    set(ExtensionState::Unknown);
    if (m_shell.isEmpty())
        return;
    listen(true);
    ask();
}

void ExtensionQuestion::listen(bool on)
{
    struct Source
    {
        QString interface;
        QString signal;
        QString first; ///< argument
    };

    const std::array sources{Source{.interface = kInterface,
                                    .signal = QStringLiteral("ExtensionStateChanged"),
                                    .first = extensionUuid()},
                             Source{.interface = kProperties,
                                    .signal = QStringLiteral("PropertiesChanged"),
                                    .first = kInterface}};
    const char* const slot = SLOT(ask());
    for (const auto& [interface, signal, first] : sources) {
        if (on)
            m_bus.connect(m_shell, kPath, interface, signal, {first}, {}, this, slot);
        else
            m_bus.disconnect(m_shell, kPath, interface, signal, {first}, {}, this, slot);
    }
}

void ExtensionQuestion::ask()
{
    // What is asked now may be outdated when it is answered.
    m_isDue = m_information || m_switch || m_pause.isActive();
    if (m_isDue)
        return;
    m_pause.start(kShortestPause);
    QDBusMessage information = QDBusMessage::createMethodCall(
        m_shell, kPath, kInterface, QStringLiteral("GetExtensionInfo"));
    information.setArguments({extensionUuid()});
    QDBusMessage property =
        QDBusMessage::createMethodCall(m_shell, kPath, kProperties, QStringLiteral("Get"));
    property.setArguments({kInterface, QStringLiteral("UserExtensionsEnabled")});
    m_information = call(information);
    m_switch = call(property);
}

ExtensionQuestion::Call ExtensionQuestion::call(const QDBusMessage& question)
{
    auto made = std::make_unique<QDBusPendingCallWatcher>(m_bus.asyncCall(question, kLimitMs));
    connect(made.get(), &QDBusPendingCallWatcher::finished, this, &ExtensionQuestion::readAnswers);
    return made;
}

void ExtensionQuestion::readAnswers()
{
    if (!m_information->isFinished() || !m_switch->isFinished())
        return;
    const QDBusPendingReply<QVariantMap> information = *m_information;
    const QDBusPendingReply<QDBusVariant> property = *m_switch;
    for (Call* const each : {&m_information, &m_switch}) {
        disconnect(each->get(), nullptr, this, nullptr);
        each->release()->deleteLater(); // it may be what calls
    }
    const bool extensionsAreOn = property.isError() || property.value().variant().toBool();
    const bool isAnswered = !information.isError();
    if (m_isDue)
        ask();
    set(isAnswered ? extensionState(information.value(),
                                    extensionsAreOn,
                                    !information.value().isEmpty() || isInstalled())
                   : ExtensionState::Unknown);
}

void ExtensionQuestion::set(ExtensionState state)
{
    if (state == m_state)
        return;
    m_state = state;
    Q_EMIT changed();
}

} // namespace platform::gnome
