// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/glib_loop.h"

#include <QAbstractEventDispatcher>

#include <algorithm>
#include <utility>

namespace platform::secrets {

namespace {

constexpr int kMostAtOnce = 32; // so that GLib cannot starve Qt

bool isSame(const GPollFD& a, const GPollFD& b)
{
    return a.fd == b.fd && a.events == b.events;
}

} // namespace

bool GlibLoop::isQtsOwn()
{
    const QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
    return dispatcher != nullptr && dispatcher->inherits("QEventDispatcherGlib");
}

GlibLoop::GlibLoop()
{
    // Owned for good: GLib's own threads wake a context only while somebody owns it.
    if (g_main_context_acquire(g_main_context_default()))
        m_context = g_main_context_default();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &GlibLoop::turn);
    if (QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
        m_context != nullptr && dispatcher != nullptr)
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, &GlibLoop::arm);
}

GlibLoop::~GlibLoop()
{
    if (m_context != nullptr)
        g_main_context_release(m_context);
}

/// Has whatever GLib would wait for wake Qt, too.
void GlibLoop::arm()
{
    gint priority = 0;
    g_main_context_prepare(m_context, &priority);
    gint timeout = -1;
    std::vector<GPollFD> files(8);
    gint needed = 0;
    while ((needed = g_main_context_query(
                m_context, priority, &timeout, files.data(), static_cast<gint>(files.size()))) >
           static_cast<gint>(files.size()))
        files.resize(static_cast<std::size_t>(needed));
    files.resize(static_cast<std::size_t>(needed));
    listenTo(files);
    if (timeout < 0)
        m_timer.stop();
    else
        m_timer.start(timeout);
}

void GlibLoop::listenTo(const std::vector<GPollFD>& files)
{
    if (std::ranges::equal(files, m_files, isSame))
        return;
    m_files = files;
    m_notifiers.clear();
    const auto add = [this](int file, QSocketNotifier::Type type) {
        m_notifiers.push_back(std::make_unique<QSocketNotifier>(file, type));
        connect(m_notifiers.back().get(), &QSocketNotifier::activated, this, &GlibLoop::turn);
    };
    for (const GPollFD& file : files) {
        if (file.events & G_IO_IN)
            add(file.fd, QSocketNotifier::Read);
        if (file.events & G_IO_OUT)
            add(file.fd, QSocketNotifier::Write);
    }
}

void GlibLoop::turn()
{
    for (int i = 0; i < kMostAtOnce && g_main_context_iteration(m_context, FALSE); ++i) {
    }
}

} // namespace platform::secrets
