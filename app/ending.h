// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

#include <functional>

namespace app {

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
    [[noreturn]] Q_SLOT void endSuddenly();

private:
    [[nodiscard]] bool finishWithoutEvents() const;

    Finishers m_finishers;
    QString m_farewell;
    bool m_hasBidFarewell = false;
    bool m_isFinished = false;
};

} // namespace app
