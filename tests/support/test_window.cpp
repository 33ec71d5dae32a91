// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_window.h"

#include <QEventLoop>
#include <QTimer>

namespace support {

namespace {

constexpr std::chrono::seconds kTimeToAnswer(20);

// The distribution's own: another Python does not have GTK.
QString python()
{
    return QStringLiteral("/usr/bin/python3");
}

} // namespace

TestWindow::TestWindow(Toolkit toolkit)
    : m_toolkit(toolkit)
{
}

QStringList TestWindow::programs()
{
    return {python()};
}

platform::Outcome TestWindow::open(const QProcessEnvironment& environment,
                                   const QString& identifier,
                                   const std::optional<QString>& title)
{
    m_identifier = identifier;
    QStringList arguments{identifier};
    if (title)
        arguments.append(*title);
    QString program;
    switch (m_toolkit) {
    case Toolkit::Qt:
        program = QStringLiteral(QT_WINDOW_EXECUTABLE);
        break;
    case Toolkit::QtWidgets:
        program = QStringLiteral(QT_WIDGET_WINDOW_EXECUTABLE);
        break;
    case Toolkit::Gtk:
        program = python();
        arguments.prepend(QStringLiteral(GTK_WINDOW_SCRIPT));
        break;
    }
    if (const auto started = m_program.start(program, arguments, environment); !started)
        return started;
    return waitFor("shown", kTimeToAnswer);
}

platform::Outcome TestWindow::setTitle(const QString& title)
{
    return ask(QStringLiteral("title ") + title, kTimeToAnswer);
}

platform::Outcome
TestWindow::changeTitles(const QString& prefix, int count, std::chrono::milliseconds time)
{
    return ask(QStringLiteral("titles %1 %2 %3").arg(count).arg(time.count()).arg(prefix),
               kTimeToAnswer + 5 * time); // a compositor may draw more slowly than is asked
}

void TestWindow::close()
{
    m_program.stop();
}

platform::Outcome TestWindow::ask(const QString& order, std::chrono::milliseconds limit)
{
    m_program.process().write(order.toUtf8() + '\n');
    return waitFor("done", limit);
}

platform::Outcome TestWindow::waitFor(const char* answer, std::chrono::milliseconds limit)
{
    QProcess& process = m_program.process();
    const auto hasAnswered = [&process] {
        return process.canReadLine() || process.state() == QProcess::NotRunning;
    };
    // In one go: a test may count how often it is woken meanwhile.
    QEventLoop loop;
    QObject::connect(&process, &QProcess::readyRead, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(limit);
    while (!hasAnswered() && timer.isActive())
        loop.exec();
    const QByteArray line = process.readLine().trimmed();
    if (line == answer)
        return platform::success();
    return platform::Error{
        QStringLiteral("the window %1 has not answered \"%2\" but \"%3\"")
            .arg(m_identifier, QString::fromLatin1(answer), QString::fromUtf8(line))};
}

} // namespace support
