// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/toolkit_messages.h"

#include "app/command_line.h"
#include "app/ending.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <chrono>
#include <cstdio>
#include <thread>

namespace app {

namespace {

constexpr std::chrono::seconds kTimeToEnd(6);

/// The display has gone, and the toolkit ends the process next: when much has been taken down
/// already, or without anything to hook into.
void endWithDisplay()
{
    auto* const application = QCoreApplication::instance();
    auto* const ending = application != nullptr ? application->findChild<Ending*>() : nullptr;
    if (ending == nullptr)
        return;
    if (QThread::currentThread() == application->thread())
        ending->endSuddenly();
    // One of the toolkit's own threads: it has to wait until the main thread has ended the process.
    QMetaObject::invokeMethod(ending, "endSuddenly", Qt::QueuedConnection);
    std::this_thread::sleep_for(kTimeToEnd);
}

void passOn(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (message.startsWith(QLatin1StringView("The X11 connection broke")) ||
        message.startsWith(QLatin1StringView("The Wayland connection ")))
        endWithDisplay();
    // See platform::gui::WithoutOpenGL.
    if (message.contains(QLatin1StringView("client buffer integration")))
        return;
    print({qFormatLogMessage(type, context, message)}, stderr);
}

} // namespace

void passOnToolkitMessages()
{
    qInstallMessageHandler(passOn);
}

} // namespace app
