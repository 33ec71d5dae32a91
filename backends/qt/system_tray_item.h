// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/qt/row_menu.h"
#include "backends/qt/tray_host_watch.h"
#include "platform/status_item.h"

#include <QColor>
#include <QSystemTrayIcon>
#include <QTimer>

#include <chrono>
#include <memory>
#include <vector>

namespace platform::gui {

/// The colour of a symbol in a panel. A panel's background is nowhere to be asked for: many are
/// dark on a light desktop, some are pictures. So the colour is one that stands out from both ends:
/// its contrast is 4.2 to white and 5.0 to black (WCAG 2.1 wants 3 of a graphical object).
inline constexpr QColor kPanelColor(0x2f, 0x7d, 0xd1);

/// The status icon as a StatusNotifierItem or in an X11 tray, whichever the desktop shows. It is
/// made when the desktop turns out to have a place for it, and comes back by itself when the panel
/// is started anew.
/// A StatusNotifierItem's menu is drawn by the desktop; a left click opens it as a window of our
/// own, because most desktops then only say that there was one.
/// The identifier and the title of a StatusNotifierItem are QCoreApplication's application name: Qt
/// has no way to give others.
class SystemTrayItem final : public StatusItem
{
    Q_OBJECT

public:
    /// See TrayHostWatch. start() is called here; nothing appears before the event loop runs.
    explicit SystemTrayItem(std::chrono::milliseconds xembedGrace = TrayHostWatch::kXEmbedGrace);
    SystemTrayItem(const SystemTrayItem&) = delete;
    SystemTrayItem& operator=(const SystemTrayItem&) = delete;
    ~SystemTrayItem() override;

    void setRows(const std::vector<MenuRow>& rows) override;

    /// Whether the icon has been made and is gone when the session bus is.
    [[nodiscard]] bool needsBus() const { return m_exported != nullptr; }

Q_SIGNALS:
    /// The icon has been made. Once.
    void made(platform::gui::TrayHostWatch::Kind kind);

private:
    void make(TrayHostWatch::Kind kind);
    [[nodiscard]] std::unique_ptr<RowMenu> makeMenu(RowMenu::Reader reader);
    void openPopup();
    void grabInput();
    void releaseInput();

    TrayHostWatch m_watch;
    std::vector<MenuRow> m_rows;
    std::unique_ptr<RowMenu> m_popup;
    std::unique_ptr<RowMenu> m_exported; // of a StatusNotifierItem only
    std::unique_ptr<QSystemTrayIcon> m_icon;
    QTimer m_grabAgain;
};

} // namespace platform::gui
