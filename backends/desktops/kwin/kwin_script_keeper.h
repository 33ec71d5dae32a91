// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"
#include "base/result.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QLoggingCategory>
#include <QObject>
#include <QString>
#include <QTemporaryFile>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>

namespace platform::kwin {

// For developers; off by default. Nothing of the user's.
Q_DECLARE_LOGGING_CATEGORY(lcKWin)

/// D-Bus interface and method of the reports, "ssssssi": token, the window's id in KWin, caption,
/// class, instance, desktop file, process. An empty id: nothing is in front.
[[nodiscard]] QString reportInterface();
[[nodiscard]] QString reportMethod();

/// Where a script reports to, and what it is called in KWin.
struct KWinScriptTarget
{
    QString service; ///< The unique name of a connection of ours.
    QString path;    ///< An object there.
    QString name;    ///< The script's name.
};

/// Writes the script as a file for KWin to read, into the memory of $XDG_RUNTIME_DIR or the folder
/// of temporary files: only its owner may read it, and it goes with the object. `token` comes with
/// each of its reports. Main thread.
[[nodiscard]] Result<std::unique_ptr<QTemporaryFile>> writeScript(const KWinScriptTarget& target,
                                                                  const QString& token);

/// Keeps the script running in KWin: loads it, replaces one of its name, loads it again when it
/// has gone. KWin does not tell of that last; it is asked, three seconds after the last report and
/// then ever more rarely, once a minute in the end.
/// Main thread; waits for nobody but in its destructor.
class KWinScriptKeeper final : public QObject
{
    Q_OBJECT

public:
    /// Where `target` says; its service is the unique name of `bus`.
    KWinScriptKeeper(QDBusConnection bus, KWinScriptTarget target);
    KWinScriptKeeper(const KWinScriptKeeper&) = delete;
    KWinScriptKeeper& operator=(const KWinScriptKeeper&) = delete;
    /// Removes the script from KWin; waits for that a fifth of a second at most.
    ~KWinScriptKeeper() override;

    [[nodiscard]] const KWinScriptTarget& target() const { return m_target; }

    /// From now on KWin is the connection of this unique name; empty: there is none.
    void keepIn(const QString& kwin);

    /// The script has reported.
    void noteReport();

    /// The user is back: if it is three seconds since the last look, KWin is asked at once, and
    /// then in the order of above.
    void noteInput();

Q_SIGNALS:
    /// A script is about to be loaded whose reports bear this token.
    void tokenChanged(const QString& token);
    /// The script has gone and is loaded again.
    void lost();
    /// The script could not be made to run for some seconds; it is tried again, ever more rarely.
    void failed();

private:
    enum class State : std::uint8_t { NoKWin, Loading, Starting, StartingAll, Running, Failed };
    using Handler = void (KWinScriptKeeper::*)(const QDBusMessage&);

    [[nodiscard]] QDBusMessage scripting(const char* method,
                                         const QVariantList& arguments = {}) const;
    [[nodiscard]] QDBusMessage run(const QString& object) const;
    void ask(const QDBusMessage& question, Handler handler);
    void load();
    void askToLoad();
    void takeId(const QDBusMessage& reply);
    void takeFormerGone(const QDBusMessage& reply);
    void takeStarted(const QDBusMessage& reply);
    void takeStartedOld(const QDBusMessage& reply);
    void takePresence(const QDBusMessage& reply);
    void fail();
    void goOn();

    QDBusConnection m_bus;
    KWinScriptTarget m_target;
    QString m_kwin;
    dbus::Question m_question; ///< of the present attempt
    std::unique_ptr<QTemporaryFile> m_file;
    QTimer m_timer;
    std::chrono::milliseconds m_betweenLooks{};
    QDeadlineTimer m_patience;
    State m_state = State::NoKWin;
    int m_id = -1;
    int m_failures = 0;
    bool m_hasReplaced = false;
};

} // namespace platform::kwin
