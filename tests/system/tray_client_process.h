// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/child_process.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTest>

namespace support {

/// A process tray_client that a test directs; see there for what may be said.
/// Main thread.
class TrayClient final
{
public:
    static constexpr int kPatienceMs = 20000;

    /// Starts it with this grace for an X11 tray. Returns when it runs its event loop or is about
    /// to.
    [[nodiscard]] bool start(const QProcessEnvironment& environment, int graceMs = 15000)
    {
        // What a sanitizer says goes to the test's own output.
        m_process.process().setProcessChannelMode(QProcess::ForwardedErrorChannel);
        return m_process.start(QStringLiteral(TRAY_CLIENT_EXECUTABLE),
                               {QString::number(graceMs)},
                               environment,
                               QString()) &&
               waitFor(QStringLiteral("ready"));
    }

    void say(const QByteArray& line) { m_process.process().write(line + '\n'); }

    /// Has it show this state; returns when it has.
    [[nodiscard]] bool setState(const QJsonObject& state)
    {
        say("state " + QJsonDocument(state).toJson(QJsonDocument::Compact));
        return waitFor(QStringLiteral("state"));
    }

    /// Waits for the next such line and forgets it; false when it does not come.
    [[nodiscard]] bool waitFor(const QString& line)
    {
        return QTest::qWaitFor([&] { return take(line); }, kPatienceMs);
    }

    /// The longest time that its event loop has been away since this was asked last, milliseconds.
    [[nodiscard]] double longestGap()
    {
        const QString start = QStringLiteral("gap ");
        say("gap");
        QString found;
        const bool came = QTest::qWaitFor(
            [&] {
                collect();
                for (const QString& line : m_lines)
                    found = line.startsWith(start) ? line : found;
                return !found.isEmpty();
            },
            kPatienceMs);
        m_lines.removeAll(found);
        return came ? found.mid(start.size()).toDouble() : 1e9;
    }

    /// Lines that have come and that nobody has waited for.
    [[nodiscard]] QStringList otherLines()
    {
        collect();
        return m_lines;
    }

    /// Ends its input and waits for its end; its exit code.
    [[nodiscard]] int finish()
    {
        m_process.process().closeWriteChannel();
        const bool ended = QTest::qWaitFor([this] { return !m_process.isRunning(); }, kPatienceMs);
        return ended ? m_process.process().exitCode() : -1;
    }

    [[nodiscard]] ChildProcess& process() { return m_process; }

private:
    void collect()
    {
        while (m_process.process().canReadLine())
            m_lines.append(QString::fromUtf8(m_process.process().readLine()).trimmed());
    }

    [[nodiscard]] bool take(const QString& line)
    {
        collect();
        const qsizetype at = m_lines.indexOf(line);
        if (at >= 0)
            m_lines.removeAt(at);
        return at >= 0;
    }

    ChildProcess m_process;
    QStringList m_lines;
};

} // namespace support
