// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLoggingCategory>
#include <QObject>
#include <QString>

#include <functional>

namespace app {

/// Of the folder: how the program starts and ends.
Q_DECLARE_LOGGING_CATEGORY(lcApp)

/// From now on what the toolkit says goes to standard error, but for what is told in our own words:
/// that the display has gone, whereupon the application's Ending ends the process; and for what we
/// have asked for. Main thread; the messages may come from any.
void passOnToolkitMessages();

/// What is owed when the program ends: nothing that was recorded or asked for may be lost.
/// Main thread. Owned by the application object.
class Ending final : public QObject
{
    Q_OBJECT

public:
    /// What waits until something is kept for good, some seconds at most, and tells whether it is.
    struct Finishers
    {
        /// The settings are on the disk. Does not run the event loop.
        std::function<bool()> settings;
        /// The keyring has done what it was asked for. Runs the event loop.
        std::function<bool()> keyring;
    };

    Ending(QObject* application, Finishers finishers);

    /// Stops tracking, then finishes the save of the activity, the settings and the keyring, some
    /// seconds at most in all; tells on standard error what could not be finished. Once: later
    /// calls do nothing.
    void finish();

    /// Says `farewell` on standard error; once, later calls say nothing.
    void bidFarewell(const QString& farewell);

    [[nodiscard]] bool hasBidFarewell() const { return m_hasBidFarewell; }

    /// Bids `farewell` and does the same when the toolkit ends the process by itself, as it does
    /// when the display goes away.
    void finishAtSuddenExit(const QString& farewell);

    /// Does so at once and ends the process. What the keyring still has to do is left: the event
    /// loop does not run again.
    Q_INVOKABLE [[noreturn]] void endSuddenly();

private:
    [[nodiscard]] bool finishWithoutEvents() const;

    Finishers m_finishers;
    QString m_farewell;
    bool m_hasBidFarewell = false;
    bool m_isFinished = false;
};

} // namespace app
