// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/x11_client.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <cstdint>

namespace support {

/// A real window with exactly the properties that a test gives it. It starts unmapped, with no
/// property at all. Changes are on the server when a call returns; what the window manager makes of
/// them is to be waited for.
/// Main thread.
class X11TestWindow final
{
public:
    enum class Managed { Yes, No };

    /// Makes a window on `display`. Managed::No makes it override-redirect, as menus and tooltips.
    explicit X11TestWindow(const QString& display, Managed managed = Managed::Yes);

    [[nodiscard]] xcb_window_t id() const { return m_window; }

    /// Sets a property of bytes; `type` is the name of its type ("STRING", "UTF8_STRING").
    void setBytes(const QByteArray& property, const QByteArray& type, const QByteArray& value);
    /// Sets a property of one number; `type` as above ("CARDINAL").
    void setNumber(const QByteArray& property, const QByteArray& type, std::uint32_t value);
    void removeProperty(const QByteArray& property);

    /// Shortcuts for the usual properties.
    void setClass(const QByteArray& instance, const QByteArray& windowClass);
    void setTitle(const QString& title); ///< _NET_WM_NAME
    void setPid(std::uint32_t pid);
    void setClientMachine(const QByteArray& host);
    void setWindowType(const QByteArray& type); ///< "_NET_WM_WINDOW_TYPE_DESKTOP"

    /// Maps and raises it.
    void show();
    /// Withdraws it (ICCCM).
    void hide();
    /// Asks the window manager to give it the focus (EWMH).
    void activate();
    /// Writes _NET_ACTIVE_WINDOW by hand, as a window manager would.
    void claimToBeActive();
    /// Shows it and waits until it is the active window; false when it never becomes it.
    [[nodiscard]] bool showAndFocus();
    /// The same for a window on show.
    [[nodiscard]] bool focus();
    void destroy();

    [[nodiscard]] const X11Client& client() const { return m_client; }

private:
    X11Client m_client;
    xcb_window_t m_window = XCB_WINDOW_NONE;
};

} // namespace support
