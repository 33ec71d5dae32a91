// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A process that keeps secrets, for a test to direct: secret_client LOOK-MS CHANGE-MS. GLib
// connects a process to one session bus for good, so each situation needs a process of its own.
//
// Standard input has a command a line; each answers with a line of its own when it is done:
//   read ACCOUNT          read ACCOUNT none|=SECRET MILLISECONDS
//   save ACCOUNT SECRET   save ACCOUNT yes|no MILLISECONDS
//   remove ACCOUNT        remove ACCOUNT yes|no MILLISECONDS
//   state                 state PHRASE MILLISECONDS
//   finish LIMIT          finish yes|no MILLISECONDS
//   drop                  drop MILLISECONDS; the store is destroyed and made anew
//   gap                   gap MILLISECONDS, the longest since the last of these
// and "readable" comes whenever the keyring became readable. It ends with its input.
#include "backends/dbus/bus_address.h"
#include "backends/keyring/libsecret_store.h"
#include "tests/support/heartbeat.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFutureWatcher>
#include <QSocketNotifier>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

using platform::secrets::LibsecretStore;

class Client final : public QObject
{
public:
    explicit Client(platform::secrets::SecretLimits limits)
        : m_limits(limits)
        , m_input(STDIN_FILENO, QSocketNotifier::Read)
    {
        makeStore();
        connect(&m_input, &QSocketNotifier::activated, this, &Client::readInput);
    }

private:
    void makeStore()
    {
        m_store = std::make_unique<LibsecretStore>(m_bus, m_limits);
        connect(m_store.get(), &LibsecretStore::becameReadable, this, [] { say("readable"); });
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
        const QByteArrayList words = line.split(' ');
        const QByteArray& command = words.first();
        const QByteArray argument = words.value(1);
        const platform::SecretName name{QStringLiteral("velomira-test"),
                                        QString::fromUtf8(argument)};
        QElapsedTimer timer;
        timer.start();
        const auto sayResult = [line = command + ' ' + argument, timer](const QByteArray& result) {
            say(line + ' ' + result + ' ' + QByteArray::number(timer.elapsed()));
        };
        const auto sayWhether = [sayResult](bool result) {
            sayResult(result ? "yes" : "no");
        };
        if (command == "read") {
            whenDone(m_store->read(name), [sayResult](const std::optional<QByteArray>& secret) {
                sayResult(secret ? '=' + *secret : "none");
            });
        } else if (command == "save") {
            whenDone(m_store->save(name, words.mid(2).join(' ')), sayWhether);
        } else if (command == "remove") {
            whenDone(m_store->remove(name), sayWhether);
        } else if (command == "state") {
            whenDone(m_store->keyringState(),
                     [sayResult](const QString& state) { sayResult(state.toUtf8()); });
        } else if (command == "finish") {
            sayWhether(m_store->finish(std::chrono::milliseconds(argument.toInt())));
        } else if (command == "drop") {
            m_store.reset();
            makeStore();
            sayResult("");
        } else if (command == "gap") {
            say("gap " + QByteArray::number(m_heart.longestGap()));
            m_heart.restart();
        }
    }

    template <typename T, typename Then> void whenDone(const QFuture<T>& future, Then then)
    {
        auto* const watcher = new QFutureWatcher<T>(this);
        connect(watcher, &QFutureWatcher<T>::finished, this, [watcher, then] {
            then(watcher->result());
            watcher->deleteLater();
        });
        watcher->setFuture(future);
    }

    static void say(const QByteArray& line)
    {
        std::puts(line.constData());
        std::fflush(stdout);
    }

    QDBusConnection m_bus = platform::dbus::connectionTo(
        platform::dbus::sessionBusAddress(), QStringLiteral("client"), std::chrono::seconds(1));
    platform::secrets::SecretLimits m_limits;
    QSocketNotifier m_input;
    QByteArray m_pending;
    support::Heartbeat m_heart;
    std::unique_ptr<LibsecretStore> m_store;
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 3)
        return 2;
    const Client client({.look = std::chrono::milliseconds(std::atoi(argv[1])),
                         .change = std::chrono::milliseconds(std::atoi(argv[2]))});
    return QCoreApplication::exec();
}
