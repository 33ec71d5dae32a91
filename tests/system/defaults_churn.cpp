// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Settings under load until somebody kills it: defaults_churn FILE. Counts "number" on from what
// the file has, every millisecond, with a text that tells whether it is whole, and writes each
// number to standard output before it is set.
#include "backends/qt/settings_file_defaults.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdlib>
#include <unistd.h>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 2)
        return 2;
    platform::qt::SettingsFileDefaults defaults(QString::fromLocal8Bit(argv[1]));
    qint64 number = defaults.integer(QStringLiteral("number")).value_or(0);
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &application, [&] {
        ++number;
        if (::write(STDOUT_FILENO, &number, sizeof number) != sizeof number)
            std::abort();
        defaults.setString(QStringLiteral("text"),
                           QStringLiteral("%1,").arg(number % 10).repeated(2000));
        defaults.setInteger(QStringLiteral("number"), number);
    });
    timer.start(1);
    return QCoreApplication::exec();
}
