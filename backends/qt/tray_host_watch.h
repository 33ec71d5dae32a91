// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"

#include <QAbstractNativeEventFilter>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstdint>

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

} // namespace platform::gui
