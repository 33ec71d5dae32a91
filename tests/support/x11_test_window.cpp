// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/x11_test_window.h"

#include <QTest>

#include <array>

namespace support {

X11TestWindow::X11TestWindow(const QString& display, Managed managed)
    : m_client(display)
    , m_window(xcb_generate_id(m_client.get()))
{
    const std::uint32_t overrideRedirect = managed == Managed::No ? 1 : 0;
    xcb_create_window(m_client.get(),
                      XCB_COPY_FROM_PARENT,
                      m_window,
                      m_client.root(),
                      10,
                      10,
                      200,
                      100,
                      0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT,
                      &overrideRedirect);
    m_client.sync();
}

void X11TestWindow::setBytes(const QByteArray& property,
                             const QByteArray& type,
                             const QByteArray& value)
{
    xcb_change_property(m_client.get(),
                        XCB_PROP_MODE_REPLACE,
                        m_window,
                        m_client.atom(property),
                        m_client.atom(type),
                        8,
                        static_cast<std::uint32_t>(value.size()),
                        value.constData());
    m_client.sync();
}

void X11TestWindow::setNumber(const QByteArray& property,
                              const QByteArray& type,
                              std::uint32_t value)
{
    xcb_change_property(m_client.get(),
                        XCB_PROP_MODE_REPLACE,
                        m_window,
                        m_client.atom(property),
                        m_client.atom(type),
                        32,
                        1,
                        &value);
    m_client.sync();
}

void X11TestWindow::removeProperty(const QByteArray& property)
{
    xcb_delete_property(m_client.get(), m_window, m_client.atom(property));
    m_client.sync();
}

void X11TestWindow::setClass(const QByteArray& instance, const QByteArray& windowClass)
{
    setBytes("WM_CLASS", "STRING", instance + '\0' + windowClass + '\0');
}

void X11TestWindow::setTitle(const QString& title)
{
    setBytes("_NET_WM_NAME", "UTF8_STRING", title.toUtf8());
}

void X11TestWindow::setPid(std::uint32_t pid)
{
    setNumber("_NET_WM_PID", "CARDINAL", pid);
}

void X11TestWindow::setClientMachine(const QByteArray& host)
{
    setBytes("WM_CLIENT_MACHINE", "STRING", host);
}

void X11TestWindow::setWindowType(const QByteArray& type)
{
    setNumber("_NET_WM_WINDOW_TYPE", "ATOM", m_client.atom(type));
}

void X11TestWindow::show()
{
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(m_client.get(), m_window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_map_window(m_client.get(), m_window);
    m_client.sync();
}

void X11TestWindow::hide()
{
    xcb_unmap_window(m_client.get(), m_window);
    // ICCCM: the window manager is also told by a message, in case the window was an icon.
    xcb_unmap_notify_event_t event{};
    event.response_type = XCB_UNMAP_NOTIFY;
    event.event = m_client.root();
    event.window = m_window;
    std::array<char, 32> message{};
    std::copy_n(reinterpret_cast<const char*>(&event), sizeof event, message.begin());
    xcb_send_event(m_client.get(),
                   0,
                   m_client.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   message.data());
    m_client.sync();
}

void X11TestWindow::activate()
{
    constexpr std::uint32_t kFromPager = 2; // never refused in favour of the user's last window
    m_client.sendToWindowManager(m_window, "_NET_ACTIVE_WINDOW", kFromPager);
}

void X11TestWindow::claimToBeActive()
{
    xcb_change_property(m_client.get(),
                        XCB_PROP_MODE_REPLACE,
                        m_client.root(),
                        m_client.atom("_NET_ACTIVE_WINDOW"),
                        XCB_ATOM_WINDOW,
                        32,
                        1,
                        &m_window);
    m_client.sync();
}

bool X11TestWindow::showAndFocus()
{
    show();
    return focus();
}

bool X11TestWindow::focus()
{
    return QTest::qWaitFor([this] {
        activate();
        // Twice: the first answer may have changed the focus, and the window manager still has to
        // hear of that from the server. It may briefly call the window active that was before.
        return m_client.waitForWindowManager() && m_client.waitForWindowManager() &&
               m_client.activeWindow() == m_window;
    });
}

void X11TestWindow::destroy()
{
    xcb_destroy_window(m_client.get(), m_window);
    m_client.sync();
}

} // namespace support
