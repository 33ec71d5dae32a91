// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A program with one window. Usage: qt_window IDENTIFIER [TITLE]
//
// Writes "shown" when the window is there. Reads orders from standard input, a line each, and
// writes "done" after each: "title TEXT", "titles COUNT MILLISECONDS PREFIX". Ends with standard
// input.
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

void say(const char* word)
{
    std::puts(word);
    std::fflush(stdout);
}

class Window final : public QRasterWindow
{
public:
    void changeTitles(const QString& prefix, int count, int milliseconds)
    {
        auto* const timer = new QTimer(this);
        timer->setTimerType(Qt::PreciseTimer);
        const auto changed = std::make_shared<int>(0);
        const auto clock = std::make_shared<QElapsedTimer>();
        clock->start();
        connect(timer, &QTimer::timeout, this, [=, this] {
            const auto due = static_cast<int>(qMin<qint64>(
                count, milliseconds == 0 ? count : clock->elapsed() * count / milliseconds));
            // Wayland ends a program that is far ahead of its compositor. A frame is drawn when the
            // one before has been seen, so with it all titles that came before that one. What is
            // not on the screen has no frames.
            if (m_lastFrame.hasExpired(kFrameMs))
                noteFrame();
            for (; *changed < due && m_sinceFrame < kTitlesForFrame; ++m_sinceFrame)
                setTitle(prefix + QLatin1Char(' ') + QString::number(++*changed));
            update();
            if (*changed == count) {
                timer->deleteLater();
                timer->stop();
                say("done");
            }
        });
        timer->start(1);
    }

    void obey(const QString& order)
    {
        if (order.startsWith(QLatin1StringView("titles "))) {
            changeTitles(order.section(QLatin1Char(' '), 3),
                         order.section(QLatin1Char(' '), 1, 1).toInt(),
                         order.section(QLatin1Char(' '), 2, 2).toInt());
            return;
        }
        const QString title = order.section(QLatin1Char(' '), 1);
        setTitle(title.isEmpty() ? QString() : title);
        say("done");
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        noteFrame();
        QPainter(this).fillRect(QRect(QPoint(0, 0), size()), Qt::white);
    }

    void exposeEvent(QExposeEvent* event) override
    {
        QRasterWindow::exposeEvent(event);
        if (isExposed() && !m_wasShown)
            say("shown");
        m_wasShown |= isExposed();
    }

private:
    void noteFrame()
    {
        m_sinceFrame = 0;
        m_lastFrame.start();
    }

    static constexpr int kTitlesForFrame = 50;
    static constexpr int kFrameMs = 1000;

    QElapsedTimer m_lastFrame;
    int m_sinceFrame = 0; // titles
    bool m_wasShown = false;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("Usage: qt_window IDENTIFIER [TITLE]\n", stderr);
        return 2;
    }
    // Under X11 Qt names a window's class after the program, and its instance by this option.
    std::vector<char*> arguments(argv, argv + 1);
    std::string option = "-name";
    arguments.push_back(option.data());
    arguments.push_back(argv[1]);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    QGuiApplication application(count, arguments.data());
    QGuiApplication::setDesktopFileName(QString::fromUtf8(argv[1]));
    // Under Wayland Qt gives a window without title the application's name, unless it has one for
    // people: an empty one, which is not null.
    QGuiApplication::setApplicationDisplayName(QStringLiteral(""));
    Window window;
    window.resize(300, 200);
    if (argc > 2)
        window.setTitle(QString::fromUtf8(argv[2]));
    QByteArray input;
    QSocketNotifier orders(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&orders, &QSocketNotifier::activated, &window, [&] {
        char buffer[4096];
        const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (size <= 0) {
            QCoreApplication::quit();
            return;
        }
        input.append(buffer, static_cast<qsizetype>(size));
        while (input.contains('\n')) {
            const qsizetype end = input.indexOf('\n');
            window.obey(QString::fromUtf8(input.left(end)));
            input.remove(0, end + 1);
        }
    });
    window.show();
    return QCoreApplication::exec();
}
