// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/postgres_server.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace support {

namespace {

constexpr int kPatienceMs = 60000;

/// The folder of the newest server installed; empty when there is none.
QString programFolder()
{
    const QDir versions(QStringLiteral("/usr/lib/postgresql"));
    QStringList folders = versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    std::sort(folders.begin(), folders.end(), [](const QString& a, const QString& b) {
        return a.toInt() > b.toInt();
    });
    for (const QString& version : folders) {
        const QString folder = versions.filePath(version) + QStringLiteral("/bin/");
        if (QFile::exists(folder + QStringLiteral("postgres")))
            return folder;
    }
    const QString inPath = QStandardPaths::findExecutable(QStringLiteral("postgres"));
    return inPath.isEmpty() ? QString() : inPath.chopped(8);
}

/// Who the server runs as when the test runs as root.
const passwd* serverUser()
{
    const passwd* const own = ::getpwnam("postgres");
    return own != nullptr ? own : ::getpwnam("nobody");
}

/// `program` with its arguments as it is to be run.
struct Command
{
    QString program;
    QStringList arguments;
};

Command command(const QString& program, const QStringList& arguments)
{
    if (::geteuid() != 0)
        return {programFolder() + program, arguments};
    const passwd* const user = serverUser();
    // The change of user makes the kernel forget that the child is to end with its parent.
    return {QStringLiteral("setpriv"),
            QStringList{QStringLiteral("--reuid=%1").arg(user->pw_uid),
                        QStringLiteral("--regid=%1").arg(user->pw_gid),
                        QStringLiteral("--clear-groups"),
                        QStringLiteral("--pdeathsig=KILL"),
                        programFolder() + program} +
                arguments};
}

QProcessEnvironment plainEnvironment()
{
    QProcessEnvironment environment;
    for (const char* name : {"PATH", "LANG", "LC_ALL"})
        environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
    return environment;
}

QString contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

PostgresServer::~PostgresServer()
{
    stop();
}

QString PostgresServer::missing()
{
    if (programFolder().isEmpty())
        return QStringLiteral("not installed: postgresql");
    if (::geteuid() != 0)
        return {};
    if (QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
        return QStringLiteral("not installed: setpriv");
    return serverUser() == nullptr ? QStringLiteral("no user for PostgreSQL") : QString();
}

platform::Outcome PostgresServer::start()
{
    if (::geteuid() == 0 && ::chown(QFile::encodeName(m_folder.path()).constData(),
                                    serverUser()->pw_uid,
                                    serverUser()->pw_gid) != 0)
        return platform::Error{QStringLiteral("cannot give the folder to the server's user")};
    const auto made = run(QStringLiteral("initdb"),
                          {QStringLiteral("--pgdata=") + file(QStringLiteral("data")),
                           QStringLiteral("--username=velomira"),
                           QStringLiteral("--auth=trust"),
                           QStringLiteral("--encoding=UTF8"),
                           QStringLiteral("--locale=C.UTF-8"),
                           QStringLiteral("--no-sync")});
    return made ? resume() : made;
}

platform::Outcome PostgresServer::restart()
{
    stop();
    return resume();
}

void PostgresServer::stop()
{
    if (!m_server.isRunning())
        return;
    // SIGQUIT is the server's word for "at once, without asking the clients".
    ::kill(static_cast<pid_t>(m_server.pid()), SIGQUIT);
    if (!m_server.process().waitForFinished(kPatienceMs))
        m_server.kill();
}

platform::Outcome PostgresServer::resume()
{
    const QString pidFile = file(QStringLiteral("data/postmaster.pid"));
    QFile::remove(pidFile);
    const Command server =
        command(QStringLiteral("postgres"),
                {QStringLiteral("-D"),
                 file(QStringLiteral("data")),
                 QStringLiteral("-k"),
                 m_folder.path(),
                 QStringLiteral("-c"),
                 QStringLiteral("listen_addresses="),
                 QStringLiteral("-c"),
                 QStringLiteral("fsync=off")}); // the machine is not going to lose its power
    const auto started = m_server.start(server.program,
                                        server.arguments,
                                        plainEnvironment(),
                                        m_folder.path() + QStringLiteral("/server.log"));
    if (!started)
        return started;
    const bool ready = QTest::qWaitFor(
        [&] {
            return !m_server.isRunning() || contentOf(pidFile).contains(QStringLiteral("ready"));
        },
        kPatienceMs);
    if (!ready || !m_server.isRunning())
        return platform::Error{QStringLiteral("PostgreSQL did not start: ") +
                               contentOf(file(QStringLiteral("server.log")))};
    return platform::success();
}

platform::Result<QString> PostgresServer::newDatabase()
{
    const QString name = QStringLiteral("test%1").arg(++m_databases);
    const auto made = run(
        QStringLiteral("createdb"),
        {QStringLiteral("--host=") + m_folder.path(), QStringLiteral("--username=velomira"), name});
    if (!made)
        return made.error();
    return QStringLiteral("postgresql://velomira@/%1?host=%2").arg(name, m_folder.path());
}

platform::Outcome PostgresServer::run(const QString& program, const QStringList& arguments)
{
    const Command called = command(program, arguments);
    ChildProcess child;
    const auto started = child.start(called.program, called.arguments, plainEnvironment());
    if (!started)
        return started;
    if (!child.process().waitForFinished(kPatienceMs) || child.process().exitCode() != 0)
        return platform::Error{program + QStringLiteral(" failed")};
    return platform::success();
}

} // namespace support
