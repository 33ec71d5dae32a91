// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/window_inquiry.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"

#include <QStringList>
#include <QTimer>

#include <limits>
#include <utility>

namespace platform::atspi {

namespace {

constexpr qsizetype kLongestIdentifier = 1024;

// The windows of these programs are the desktop, panels, overviews and lock screens.
bool isDesktopShell(const QString& program)
{
    static const QStringList shells{QStringLiteral("gnome-shell"),
                                    QStringLiteral("plasmashell"),
                                    QStringLiteral("cinnamon"),
                                    QStringLiteral("xfce4-panel"),
                                    QStringLiteral("xfdesktop"),
                                    QStringLiteral("lxqt-panel"),
                                    QStringLiteral("mate-panel"),
                                    QStringLiteral("budgie-panel"),
                                    QStringLiteral("kscreenlocker_greet"),
                                    QStringLiteral("xfce4-screensaver-dialog"),
                                    QStringLiteral("light-locker")};
    return shells.contains(program);
}

} // namespace

WindowInquiry::WindowInquiry(AccessibilityBus& bus, AccessibleObject window)
    : m_bus(bus)
    , m_window(std::move(window))
{
}

void WindowInquiry::start()
{
    const QString name = QStringLiteral("Name");
    const AccessibleObject program{.service = m_window.service, .path = kRootPath};
    expect(m_bus.getText(m_window, name, this, [this](const QDBusMessage& reply) {
        const std::optional<QString> title = textPropertyIn(reply);
        m_title = title.value_or(QString());
        m_hasFailed |= !title;
        settle();
    }));
    expect(m_bus.getText(program, name, this, [this](const QDBusMessage& reply) {
        m_program = textPropertyIn(reply).value_or(QString());
        settle();
    }));
    expect(m_bus.askProcess(m_window.service, this, [this](const QDBusMessage& reply) {
        const std::optional<quint32> process = numberIn(reply);
        m_process = process.value_or(0);
        m_hasFailed |= !process;
        settle();
    }));
    expect(m_bus.ask(m_window, QStringLiteral("GetRole"), this, [this](const QDBusMessage& reply) {
        m_role = numberIn(reply).value_or(0);
        settle();
    }));
    expect(m_bus.ask(
        m_window, QStringLiteral("GetAttributes"), this, [this](const QDBusMessage& reply) {
            if (const auto attributes = attributesIn(reply))
                m_type = attributes->value(QStringLiteral("window-type")); // GTK tells it
            settle();
        }));
    if (m_open == 0)
        QTimer::singleShot(0, this, &WindowInquiry::fail);
}

void WindowInquiry::expect(bool isAsked)
{
    m_open += isAsked ? 1 : 0;
    m_hasFailed |= !isAsked;
}

void WindowInquiry::fail()
{
    Q_EMIT finished(std::nullopt);
}

void WindowInquiry::settle()
{
    if (--m_open > 0)
        return;
    if (m_hasFailed || !isApplication()) {
        fail();
        return;
    }
    desktop::FrontWindow window;
    if (!m_program.isEmpty() && m_program.toUtf8().size() <= kLongestIdentifier)
        window.identifiers.append(m_program);
    if (m_process <= quint32(std::numeric_limits<std::int32_t>::max()))
        window.processIdentifier = static_cast<std::int32_t>(m_process);
    if (!m_title.isEmpty())
        window.title = cutToBytes(m_title);
    Q_EMIT finished(window);
}

bool WindowInquiry::isApplication() const
{
    return m_role != kRoleDesktopFrame && m_type != QLatin1StringView("dock") &&
           m_type != QLatin1StringView("desktop") && !isDesktopShell(m_program);
}

} // namespace platform::atspi
