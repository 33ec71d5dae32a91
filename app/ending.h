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
    /// `finishEnvironment` waits for the settings and the keyring, and tells whether they are done.
    Ending(QObject* application, std::function<bool()> finishEnvironment);

    /// Stops tracking, then finishes the settings, the keyring and the save of the activity, some
    /// seconds at most in all; tells on standard error what could not be finished. Once: later
    /// calls do nothing.
    void finish();

    /// Says `farewell` on standard error; once, later calls say nothing.
    void bidFarewell(const QString& farewell);

    [[nodiscard]] bool hasBidFarewell() const { return m_hasBidFarewell; }

    /// Bids `farewell` and does the same when the toolkit ends the process by itself, as it does
    /// when the display goes away.
    void finishAtSuddenExit(const QString& farewell);

    /// Does so at once and ends the process, as far as that has not been done yet.
    [[noreturn]] void endSuddenly();

private:
    std::function<bool()> m_finishEnvironment;
    QString m_farewell;
    bool m_hasBidFarewell = false;
    bool m_isFinished = false;
};

} // namespace app
