// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/ending.h"

#include "activity/data_store.h"
#include "app/command_line.h"
#include "tracking/tracking_engine.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdlib>
#include <utility>

namespace app {

namespace {

constexpr std::chrono::seconds kTimeForTheOwedSave(2);

} // namespace

Ending::Ending(QObject* application, Finishers finishers)
    : QObject(application)
    , m_finishers(std::move(finishers))
{
}

void Ending::finish()
{
    if (std::exchange(m_isFinished, true))
        return;
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
        // An end in order has taken the application down by now, and this object with it.
        auto* const application = QCoreApplication::instance();
        auto* const ending = application ? application->findChild<Ending*>() : nullptr;
        if (ending && !ending->m_isFinished)
            ending->endSuddenly();
    });
}

void Ending::endSuddenly()
{
    bidFarewell(m_farewell);
    // The toolkit is in the middle of something that it will not finish, perhaps half taken down:
    // the event loop must not run again.
    if (!std::exchange(m_isFinished, true))
        static_cast<void>(finishWithoutEvents());
    std::_Exit(EXIT_FAILURE);
}

} // namespace app
