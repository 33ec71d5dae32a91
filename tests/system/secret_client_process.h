// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/child_process.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTest>

namespace support {

/// A process secret_client that a test directs; see there for what may be said.
/// Main thread.
class SecretClient final
{
public:
    static constexpr int kPatienceMs = 20000;

    /// Starts it with limits, in milliseconds, of what never prompts and of what may.
    [[nodiscard]] bool
    start(const QProcessEnvironment& environment, int lookMs = 3000, int changeMs = 10000)
    {
        // What a sanitizer says goes to the test's own output.
        m_process.process().setProcessChannelMode(QProcess::ForwardedErrorChannel);
        return bool(m_process.start(QStringLiteral(SECRET_CLIENT_EXECUTABLE),
                                    {QString::number(lookMs), QString::number(changeMs)},
                                    environment,
                                    QString()));
    }

    void say(const QString& line) { m_process.process().write(line.toUtf8() + '\n'); }

    /// The next line that begins with `start`, without that; null when none comes.
    [[nodiscard]] QString answer(const QString& start)
    {
        QString found;
        const bool came = QTest::qWaitFor(
            [&] {
                collect();
                for (qsizetype i = 0; i < m_lines.size(); ++i) {
                    if (m_lines[i].startsWith(start)) {
                        found = m_lines.takeAt(i).mid(start.size()).trimmed();
                        return true;
                    }
                }
                return false;
            },
            kPatienceMs);
        return came ? found : QString();
    }

    /// Says `line` and waits for its answer.
    [[nodiscard]] QString ask(const QString& line)
    {
        say(line);
        const QStringList words = line.split(u' ');
        return answer(words.first() + u' ' + words.value(1));
    }

    /// The longest time that its event loop has been away since this was asked last, milliseconds.
    [[nodiscard]] double longestGap() { return ask(QStringLiteral("gap")).toDouble(); }

    /// Lines that have come and that nobody has asked for.
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

private:
    void collect()
    {
        while (m_process.process().canReadLine())
            m_lines.append(QString::fromUtf8(m_process.process().readLine()).trimmed());
    }

    ChildProcess m_process;
    QStringList m_lines;
};

} // namespace support
