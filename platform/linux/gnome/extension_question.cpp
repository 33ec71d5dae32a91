// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gnome/extension_question.h"

#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QStandardPaths>

namespace platform::gnome {

namespace {

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

ExtensionQuestion::ExtensionQuestion(const QDBusConnection& bus)
    : m_bus(bus)
{
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
    m_isDue = false;
    set(ExtensionState::Unknown);
    if (m_shell.isEmpty())
        return;
    listen(true);
    ask();
}

void ExtensionQuestion::listen(bool on)
{
    const auto change = [this, on](const QString& interface,
                                   const QString& signal,
                                   const QString& argument) {
        if (on)
            m_bus.connect(m_shell, kPath, interface, signal, {argument}, {}, this, SLOT(ask()));
        else
            m_bus.disconnect(m_shell, kPath, interface, signal, {argument}, {}, this, SLOT(ask()));
    };
    change(kInterface, QStringLiteral("ExtensionStateChanged"), extensionUuid());
    change(kProperties, QStringLiteral("PropertiesChanged"), kInterface);
}

void ExtensionQuestion::ask()
{
    // What is asked now may be outdated when it is answered.
    m_isDue = m_information || m_switch;
    if (m_isDue)
        return;
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
