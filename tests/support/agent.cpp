// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/agent.h"

#include <QFile>
#include <QTest>

#include <utility>

namespace support {

namespace {
constexpr int kPatienceMs = 20000;
}

QString Agent::productsExecutable()
{
    return QStringLiteral(QUILLSTEP_EXECUTABLE);
}

Agent::Agent(QProcessEnvironment environment, QString program)
    : m_environment(std::move(environment))
    , m_program(std::move(program))
    , m_errorFile(m_environment.value(QStringLiteral("HOME")) + QStringLiteral("/agent.log"))
{
    // The toolkit's own frames have no frame pointers, and the suppressions go by their names.
    m_environment.insert(QStringLiteral("LSAN_OPTIONS"),
                         QStringLiteral("suppressions=" LSAN_SUPPRESSIONS
                                        ":print_suppressions=0:fast_unwind_on_malloc=0"));
}

platform::Outcome Agent::start(const QStringList& arguments)
{
    m_output.clear();
    if (m_launcher.isEmpty())
        return m_child.start(m_program, arguments, m_environment, m_errorFile);
    return m_child.start(
        m_launcher, QStringList(m_program) + arguments, m_environment, m_errorFile);
}

QStringList Agent::lines()
{
    // Also what it has written and the event loop has not read yet.
    while (m_child.process().waitForReadyRead(0)) {
    }
    m_output += QString::fromUtf8(m_child.process().readAllStandardOutput());
    QStringList all = m_output.split(QLatin1Char('\n'));
    all.removeLast(); // nothing, or a line that is not whole yet
    return all;
}

QStringList Agent::waitForLines(qsizetype count)
{
    static_cast<void>(QTest::qWaitFor([&] { return lines().size() >= count; }, kPatienceMs));
    return lines().first(std::min(count, lines().size()));
}

std::optional<QString> Agent::nextLine()
{
    const qsizetype count = lines().size() + 1;
    const QStringList all = waitForLines(count);
    return all.size() == count ? std::optional(all.last()) : std::nullopt;
}

std::optional<int> Agent::waitForEnd()
{
    if (!QTest::qWaitFor([&] { return !m_child.isRunning(); }, kPatienceMs) ||
        m_child.process().exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return m_child.process().exitCode();
}

std::optional<int> Agent::end(int signal)
{
    send(signal);
    return waitForEnd();
}

void Agent::send(int signal)
{
    if (m_child.isRunning())
        ::kill(static_cast<pid_t>(m_child.pid()), signal);
}

QString Agent::complaints() const
{
    QFile file(m_errorFile);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString Agent::dataFile() const
{
    return m_environment.value(QStringLiteral("XDG_DATA_HOME")) +
           QStringLiteral("/Velomira Usage Monitor/activity_logs.json");
}

} // namespace support
