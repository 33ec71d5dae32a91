// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A program with one window of widgets, which assistive programs can see, unlike that of qt_window.
// Usage: qt_widget_window IDENTIFIER [TITLE]
//
// Writes "shown" when the window is there. Reads orders from standard input, a line each, and
// writes "done" after each: "title TEXT". Ends with standard input.
#include <QApplication>
#include <QSocketNotifier>
#include <QWidget>

#include <cstdio>
#include <unistd.h>

namespace {

void say(const char* word)
{
    std::puts(word);
    std::fflush(stdout);
}

class Window final : public QWidget
{
protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        if (!m_wasShown)
            say("shown");
        m_wasShown = true;
    }

private:
    bool m_wasShown = false;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 2) {
        std::fputs("Usage: qt_widget_window IDENTIFIER [TITLE]\n", stderr);
        return 2;
    }
    QApplication::setApplicationName(arguments.at(1));
    QApplication::setDesktopFileName(arguments.at(1));
    Window window;
    window.resize(300, 200);
    window.setWindowTitle(arguments.value(2));
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
        for (qsizetype end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
            window.setWindowTitle(QString::fromUtf8(input.left(end)).section(QLatin1Char(' '), 1));
            input.remove(0, end + 1);
            say("done");
        }
    });
    window.show();
    return QApplication::exec();
}
