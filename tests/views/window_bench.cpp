// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/views/window_bench.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>

#include <algorithm>

namespace support {

namespace {

WindowBench* current = nullptr;
QtMessageHandler before = nullptr;

void note(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    // What a screen in memory cannot do is no fault of the windows.
    const bool isOfPlatform = text.startsWith(QLatin1StringView("This plugin does not support"));
    if (isOfPlatform)
        return;
    if (current && type != QtDebugMsg && type != QtInfoMsg)
        current->warnings.append(text);
    before(type, context, text);
}

} // namespace

WindowBench::WindowBench()
{
    windows.setFactory(&factory);
    activation.whenAskedFor = [](QWindow& window) {
        window.requestActivate();
    };
    // QQmlEngine::warnings() is sent to the message handler, too.
    current = this;
    before = qInstallMessageHandler(note);
}

WindowBench::~WindowBench()
{
    windows.closeAll();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    qInstallMessageHandler(before);
    current = nullptr;
}

QQuickWindow* WindowBench::window(const QString& identifier)
{
    const QWindowList all = QGuiApplication::topLevelWindows();
    const auto found = std::ranges::find_if(all, [&identifier](const QWindow* window) {
        return window->objectName() == identifier && window->isVisible();
    });
    return found == all.end() ? nullptr : qobject_cast<QQuickWindow*>(*found);
}

QImage WindowBench::picture(const QString& identifier)
{
    QQuickWindow* const shown = window(identifier);
    return shown ? shown->grabWindow() : QImage();
}

} // namespace support
