// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"
#include "backends/qt/row_menu.h"
#include "platform/status_item.h"

#include <QAbstractNativeEventFilter>
#include <QColor>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace platform::gui {

/// Tells when the desktop has a place for a status icon.
/// Qt decides in the first QSystemTrayIcon of the process, for good, whether its icons are
/// StatusNotifierItems or windows embedded by an X11 tray. So none may be made before it is known
/// which the desktop will show: an X11 tray counts only when it has been there for a while and no
/// host of StatusNotifierItems has appeared. At the start of a session that one may be late.
/// A watcher of StatusNotifierItems that does not answer keeps the question open: Qt asks it too,
/// and waits.
/// Main thread, with an application; waits for nobody but the X server, when a tray comes or goes.
class TrayHostWatch final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    enum class Kind : std::uint8_t {
        StatusNotifier,
        XEmbed,
    };
    Q_ENUM(Kind)

    static constexpr std::chrono::milliseconds kXEmbedGrace = std::chrono::seconds(15);

    /// `xembedGrace` is how long an X11 tray must have been there.
    explicit TrayHostWatch(std::chrono::milliseconds xembedGrace = kXEmbedGrace);

    /// Begins to watch. hostAvailable() does not come before this has returned.
    void start();

Q_SIGNALS:
    /// An icon that is made now will be shown. Once.
    void hostAvailable(platform::gui::TrayHostWatch::Kind kind);

private:
    void watchNotifierHosts();
    /// Asks the watcher of StatusNotifierItems anew; what was asked before no longer counts.
    Q_SLOT void askForNotifierHost();
    void watchTrays();
    void findTray();
    bool nativeEventFilter(const QByteArray& kind, void* event, qintptr* result) override;
    void look();
    void decide(Kind kind);

    QTimer m_grace;
    QDBusConnection m_bus;
    QDBusServiceWatcher m_notifierWatcher;
    /// It may take for ever; whoever asks the same with a call that waits will wait.
    dbus::Question m_notifierQuestion;
    bool m_hasNotifierHost = false;
    std::uint32_t m_manager = 0;   ///< an atom
    std::uint32_t m_selection = 0; ///< an atom
    std::uint32_t m_tray = 0;      ///< a window; 0: there is none
    bool m_isDecided = false;
};

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
