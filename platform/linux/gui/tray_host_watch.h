// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/gui/status_notifier_hosts.h"
#include "platform/linux/gui/xembed_tray_watch.h"

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
/// Main thread; waits for nobody but the X server, once.
class TrayHostWatch final : public QObject
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
    void look();
    void decide(Kind kind);

    QTimer m_grace;
    StatusNotifierHosts m_hosts;
    XEmbedTrayWatch m_xembed;
    bool m_isDecided = false;
};

} // namespace platform::gui
