// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <cstdint>
#include <memory>
#include <xcb/xcb.h>

namespace platform::gui {

/// Whether an X11 screen has a system tray (System Tray Protocol Specification): somebody owns the
/// selection _NET_SYSTEM_TRAY_Sn. On a connection of its own, whose answers it takes as they come;
/// only connecting waits for the server. Main thread.
class XEmbedTrayWatch final : public QObject
{
    Q_OBJECT

public:
    XEmbedTrayWatch();
    ~XEmbedTrayWatch() override;

    /// Begins to watch the screen of $DISPLAY. Without an X server nothing happens.
    void start();

    [[nodiscard]] bool isThere() const { return m_tray != XCB_WINDOW_NONE; }

Q_SIGNALS:
    void isThereChanged();

private:
    struct Disconnect
    {
        void operator()(xcb_connection_t* connection) const noexcept { xcb_disconnect(connection); }
    };

    void read();
    void readReplies();
    void readEvent(const xcb_generic_event_t& event);
    void askForOwner();
    void setTray(xcb_window_t tray);

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    std::unique_ptr<QSocketNotifier> m_notifier;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    xcb_atom_t m_selection = XCB_ATOM_NONE;
    xcb_window_t m_tray = XCB_WINDOW_NONE;
    std::uint32_t m_atomQuestion = 0; // sequence numbers; none is 0
    std::uint32_t m_ownerQuestion = 0;
};

} // namespace platform::gui
