// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/service_process.h"

#include <QFile>
#include <QTest>
#include <QUrl>

#include <cstring>

namespace support {

namespace {

constexpr int kPatienceMs = 60000;
constexpr const char* kFigures = "velomira-service: figures at ";

QString contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

platform::Outcome ServiceProcess::start(const QString& database,
                                        const QStringList& arguments,
                                        const QProcessEnvironment& environment)
{
    m_database = database;
    m_baseUrl.clear();
    QStringList all = {QStringLiteral("--database"), database};
    if (!arguments.contains(QStringLiteral("--port")))
        all += {QStringLiteral("--port"), QStringLiteral("0")};
    const auto started = m_child.start(QStringLiteral(SERVICE_EXECUTABLE),
                                       all + arguments,
                                       environment,
                                       m_folder.filePath(QStringLiteral("service.log")));
    if (!started)
        return started;
    const int lines = arguments.contains(QStringLiteral("--metrics")) ? 2 : 1;
    QString output;
    const bool told = QTest::qWaitFor(
        [&] {
            output += QString::fromUtf8(m_child.process().readAllStandardOutput());
            return output.count(QLatin1Char('\n')) >= lines || !m_child.isRunning();
        },
        kPatienceMs);
    const QString announcement = QStringLiteral("velomira-service: listening on ");
    if (!told || !output.startsWith(announcement))
        return platform::Error{QStringLiteral("the service does not listen: ") + log()};
    m_baseUrl = output.mid(announcement.size()).section(QLatin1Char('\n'), 0, 0);
    const qsizetype figures = output.indexOf(QLatin1String(kFigures));
    if (figures >= 0)
        m_metricsPort = QUrl(output.mid(figures + qsizetype(std::strlen(kFigures)))
                                 .section(QLatin1Char('\n'), 0, 0))
                            .port();
    return platform::success();
}

int ServiceProcess::port() const
{
    return QUrl(m_baseUrl).port();
}

std::optional<int> ServiceProcess::stop(int signal)
{
    if (!m_child.isRunning())
        return std::nullopt;
    ::kill(static_cast<pid_t>(m_child.pid()), signal);
    if (!m_child.process().waitForFinished(kPatienceMs) ||
        m_child.process().exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return m_child.process().exitCode();
}

void ServiceProcess::kill()
{
    m_child.kill();
}

QString ServiceProcess::log() const
{
    return contentOf(m_folder.filePath(QStringLiteral("service.log")));
}

platform::Outcome
ServiceProcess::addUser(const QString& email, const QString& name, const QString& password)
{
    const Run added =
        run({QStringLiteral("--database"), m_database, QStringLiteral("--add-user"), email, name},
            password.toUtf8() + '\n');
    if (added.code != 0)
        return platform::Error{added.complaint};
    return platform::success();
}

QString ServiceProcess::summary()
{
    return run({QStringLiteral("--database"), m_database, QStringLiteral("--summary")}).output;
}

ServiceProcess::Run ServiceProcess::run(const QStringList& arguments, const QByteArray& input) const
{
    const QString errors = m_folder.filePath(QStringLiteral("run.log"));
    QFile::remove(errors);
    ChildProcess child;
    const auto started = child.start(QStringLiteral(SERVICE_EXECUTABLE),
                                     arguments,
                                     QProcessEnvironment::systemEnvironment(),
                                     errors);
    if (!started)
        return {.code = std::nullopt, .output = {}, .complaint = started.error().text};
    child.process().write(input);
    child.process().closeWriteChannel();
    Run result;
    if (child.process().waitForFinished(kPatienceMs) &&
        child.process().exitStatus() == QProcess::NormalExit)
        result.code = child.process().exitCode();
    result.output = QString::fromUtf8(child.process().readAllStandardOutput());
    result.complaint = contentOf(errors);
    return result;
}

} // namespace support
