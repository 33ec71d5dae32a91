// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/child_process.h"

#include <csignal>
#include <sys/prctl.h>

namespace support {

namespace {
constexpr int kPatienceMs = 5000;
}

ChildProcess::ChildProcess()
{
    // A test that crashes runs no destructors: the kernel ends the child with its parent.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

ChildProcess::~ChildProcess()
{
    stop();
}

platform::Outcome ChildProcess::start(const QString& program,
                                      const QStringList& arguments,
                                      const QProcessEnvironment& environment,
                                      const QString& logFile)
{
    m_process.setProcessEnvironment(environment);
    m_process.setStandardErrorFile(logFile, QIODevice::Append);
    m_process.start(program, arguments);
    if (!m_process.waitForStarted())
        return platform::Error{
            QStringLiteral("cannot start %1: %2").arg(program, m_process.errorString())};
    return platform::success();
}

void ChildProcess::stop()
{
    if (!isRunning())
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(kPatienceMs))
        kill();
}

void ChildProcess::kill()
{
    if (!isRunning())
        return;
    m_process.kill();
    m_process.waitForFinished(-1);
}

bool ChildProcess::isRunning() const
{
    return m_process.state() != QProcess::NotRunning;
}

qint64 ChildProcess::pid() const
{
    return m_process.processId();
}

} // namespace support
