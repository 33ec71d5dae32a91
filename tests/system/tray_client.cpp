// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A program with nothing but a status icon, for a test to direct: tray_client GRACE-MS. Standard
// input has a command a line:
//   state JSON   show the menu for this state: {"signedIn", "user": {"name", "email"}, "tracking",
//                "syncing"}, all of them optional
//   greet        change the user's name to "Opened N" while the menu is about to be shown
//   gap          gap MILLISECONDS, how long the event loop has been away since the last of these
// and it says "ready", "made KIND", "opening" and "chosen COMMAND". It ends with its input.
#include "account/auth_records.h"
#include "backends/qt/system_tray_item.h"
#include "shell/app_menu.h"
#include "tests/support/heartbeat.h"

#include <QApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaEnum>
#include <QSocketNotifier>

#include <cstdio>
#include <unistd.h>

namespace {

using platform::gui::SystemTrayItem;
using platform::gui::TrayHostWatch;

void say(const QString& line)
{
    std::fprintf(stdout, "%s\n", qUtf8Printable(line));
    std::fflush(stdout);
}

std::optional<QString> textIn(const QJsonObject& object, const char* name)
{
    const QJsonValue value = object[QLatin1StringView(name)];
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

shell::MenuState stateIn(const QJsonObject& object)
{
    shell::MenuState state;
    state.isAuthenticated = object[QLatin1StringView("signedIn")].toBool();
    state.isTracking = object[QLatin1StringView("tracking")].toBool();
    state.isSyncing = object[QLatin1StringView("syncing")].toBool();
    if (const QJsonValue user = object[QLatin1StringView("user")]; user.isObject()) {
        account::UserResponse record;
        record.name = textIn(user.toObject(), "name");
        record.email = textIn(user.toObject(), "email");
        state.userName = account::displayName(record);
    }
    return state;
}

class Client final : public QObject
{
public:
    explicit Client(std::chrono::milliseconds grace)
        : m_input(STDIN_FILENO, QSocketNotifier::Read)
        , m_item(grace)
    {
        connect(&m_input, &QSocketNotifier::activated, this, &Client::readInput);
        connect(&m_item, &SystemTrayItem::made, this, [](TrayHostWatch::Kind kind) {
            say(QStringLiteral("made ") +
                QString::fromLatin1(
                    QMetaEnum::fromType<TrayHostWatch::Kind>().valueToKey(static_cast<int>(kind))));
        });
        connect(&m_item, &SystemTrayItem::aboutToShow, this, &Client::greet);
        connect(&m_item, &SystemTrayItem::chosen, this, [](int command) {
            say(QStringLiteral("chosen %1").arg(command));
        });
        m_item.setRows(shell::menuRows({}));
        say(QStringLiteral("ready"));
    }

private:
    void greet()
    {
        say(QStringLiteral("opening"));
        if (!m_isGreeting)
            return;
        m_state.userName = QStringLiteral("Opened %1").arg(++m_openings);
        m_item.setRows(shell::menuRows(m_state));
    }

    void readInput()
    {
        char buffer[4096];
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got <= 0) {
            QCoreApplication::quit();
            return;
        }
        m_pending.append(buffer, got);
        for (qsizetype end = 0; (end = m_pending.indexOf('\n')) >= 0;) {
            const QByteArray line = m_pending.first(end);
            m_pending.remove(0, end + 1);
            obey(line);
        }
    }

    void obey(const QByteArray& line)
    {
        if (line.startsWith("state ")) {
            m_state = stateIn(QJsonDocument::fromJson(line.mid(6)).object());
            m_item.setRows(shell::menuRows(m_state));
            say(QStringLiteral("state"));
        } else if (line == "greet") {
            m_isGreeting = true;
            say(QStringLiteral("greet"));
        } else if (line == "gap") {
            say(QStringLiteral("gap %1").arg(m_heartbeat.longestGap()));
            m_heartbeat.restart();
        } else {
            say(QStringLiteral("what?"));
        }
    }

    QByteArray m_pending;
    QSocketNotifier m_input;
    support::Heartbeat m_heartbeat;
    shell::MenuState m_state;
    bool m_isGreeting = false;
    int m_openings = 0;
    SystemTrayItem m_item;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tray_client"));
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc != 2)
        return 2;
    const Client client(std::chrono::milliseconds(QByteArray(argv[1]).toInt()));
    return QApplication::exec();
}
