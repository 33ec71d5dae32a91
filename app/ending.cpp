// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/ending.h"

#include "activity/data_store.h"
#include "app/command_line.h"
#include "tracking/tracking_engine.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace app {

namespace {

constexpr std::chrono::seconds kTimeForTheOwedSave(2);
constexpr std::chrono::seconds kTimeToEnd(6);

/// That of the application; null before it is made and when an end in order has taken it down.
Ending* currentEnding()
{
    auto* const application = QCoreApplication::instance();
    return application ? application->findChild<Ending*>() : nullptr;
}

void passOn(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    // The toolkit ends the process next, often before our own connection has told of the loss. Its
    // Wayland client does so from any thread, by a call that runs nothing at the exit; for X11 it
    // is exit(), where what was made after our handler is taken down before it, and that may hang.
    // What the toolkit says is all that there is to go by.
    if (message.startsWith(QLatin1StringView("The X11 connection broke")) ||
        message.startsWith(QLatin1StringView("The Wayland connection "))) {
        if (Ending* const ending = currentEnding()) {
            if (QThread::currentThread() == ending->thread())
                ending->endSuddenly();
            // Until the main thread has ended the process.
            QMetaObject::invokeMethod(ending, "endSuddenly", Qt::QueuedConnection);
            std::this_thread::sleep_for(kTimeToEnd);
        }
    }
    // See platform::gui::WithoutOpenGL.
    if (message.contains(QLatin1StringView("client buffer integration")))
        return;
    print({qFormatLogMessage(type, context, message)}, stderr);
}

} // namespace

Q_LOGGING_CATEGORY(lcApp, "velomira.app", QtCriticalMsg)

void passOnToolkitMessages()
{
    qInstallMessageHandler(passOn);
}

Ending::Ending(QObject* application, Finishers finishers)
    : QObject(application)
    , m_finishers(std::move(finishers))
{
}

void Ending::finish()
{
    if (std::exchange(m_isFinished, true))
        return;
    qCInfo(lcApp) << "finishing what is owed";
    const bool isSaved = finishWithoutEvents();
    if (!m_finishers.keyring())
        complain(QStringLiteral("the keyring was not written in time"));
    // The writer hangs in the system and still uses what main() is about to take down.
    if (!isSaved)
        std::_Exit(EXIT_FAILURE);
}

bool Ending::finishWithoutEvents() const
{
    tracking::TrackingEngine::shared().stop();
    const bool isSaved = activity::DataStore::shared().finishSaving(kTimeForTheOwedSave);
    if (!isSaved)
        complain(QStringLiteral("the last seconds could not be saved in time"));
    if (!m_finishers.settings())
        complain(QStringLiteral("the settings were not written in time"));
    return isSaved;
}

void Ending::bidFarewell(const QString& farewell)
{
    if (!std::exchange(m_hasBidFarewell, true))
        complain(farewell);
}

void Ending::finishAtSuddenExit(const QString& farewell)
{
    m_farewell = farewell;
    std::atexit([] {
        Ending* const ending = currentEnding();
        if (ending && !ending->m_isFinished)
            ending->endSuddenly();
    });
}

void Ending::endSuddenly()
{
    qCInfo(lcApp) << "the toolkit ends the process";
    bidFarewell(m_farewell);
    // The toolkit is in the middle of something that it will not finish, perhaps half taken down:
    // the event loop must not run again.
    if (!std::exchange(m_isFinished, true))
        static_cast<void>(finishWithoutEvents());
    std::_Exit(EXIT_FAILURE);
}

} // namespace app
