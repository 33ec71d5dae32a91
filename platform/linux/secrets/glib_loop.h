// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <glib.h>
#include <memory>
#include <vector>

namespace platform::secrets {

/// Has GLib's default main context turned by Qt's event loop where Qt does not turn it itself: with
/// QT_NO_GLIB in the environment, or a Qt that was built without GLib. Debian's Qt does.
/// Sleeps as long as there is nothing to do. Main thread, for as long as anything of GLib is to be
/// heard of.
class GlibLoop final : public QObject
{
    Q_OBJECT

public:
    /// Whether the main thread's event loop is GLib's already. There must be an event loop.
    [[nodiscard]] static bool isQtsOwn();

    GlibLoop();
    GlibLoop(const GlibLoop&) = delete;
    GlibLoop& operator=(const GlibLoop&) = delete;
    ~GlibLoop() override;

private:
    void arm();
    void listenTo(const std::vector<GPollFD>& files);
    void turn();

    GMainContext* m_context = nullptr; // none when another thread turns it
    QTimer m_timer;
    std::vector<GPollFD> m_files;
    std::vector<std::unique_ptr<QSocketNotifier>> m_notifiers;
};

} // namespace platform::secrets
