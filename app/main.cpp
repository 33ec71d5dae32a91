// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/data_store.h"
#include "app/diagnosis.h"
#include "platform/build_config.h"
#include "platform/linux/linux_environment.h"
#include "platform/linux/posix/termination_signals.h"
#include "tracking/tracking_engine.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::chrono::seconds kTimeForTheOwedSave(2);

struct Options
{
    bool diagnose = false;
};

Options parse(const QCoreApplication& application)
{
    const QCommandLineOption diagnose(
        QStringLiteral("diagnose"),
        QStringLiteral("Print what was found on this desktop, without personal data, and end."));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Records which application is in front, once a second, into a file of "
                       "yours. Ends on SIGTERM, SIGINT and SIGHUP."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(diagnose);
    parser.process(application);
    if (!parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr,
                     "Quillstep: unexpected argument \"%s\"; see --help\n",
                     qUtf8Printable(parser.positionalArguments().constFirst()));
        std::exit(EXIT_FAILURE);
    }
    return {.diagnose = parser.isSet(diagnose)};
}

void complain(const QString& text)
{
    std::fprintf(stderr, "Quillstep: %s\n", qUtf8Printable(text));
}

int track(platform::LinuxEnvironment& environment,
          const platform::posix::TerminationSignals& signals)
{
    QObject::connect(
        &signals, &platform::posix::TerminationSignals::requested, qApp, &QCoreApplication::quit);
    QObject::connect(
        &environment, &platform::LinuxEnvironment::sessionEnded, qApp, [](const QString& reason) {
            complain(reason + QStringLiteral("; the session is over"));
            QCoreApplication::exit(EXIT_FAILURE);
        });
    if (const QString limitation = environment.limitation(); !limitation.isEmpty())
        complain(limitation);

    tracking::TrackingEngine::shared().start();
    const int code = QCoreApplication::exec();
    tracking::TrackingEngine::shared().stop();
    if (!activity::DataStore::shared().finishSaving(kTimeForTheOwedSave)) {
        complain(QStringLiteral("the last seconds could not be saved in time"));
        // The writer hangs in the system and still uses what main() is about to take down.
        std::_Exit(EXIT_FAILURE);
    }
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Quillstep"));
    QCoreApplication::setApplicationVersion(
        QString::fromLatin1(platform::kVersion.data(), platform::kVersion.size()));
    const Options options = parse(application);

    const platform::posix::TerminationSignals signals; // before the environment starts threads
    const auto environment = platform::LinuxEnvironment::create();
    if (!environment) {
        complain(environment.error().text);
        return EXIT_FAILURE;
    }
    platform::install(environment.value()->facilities());
    if (options.diagnose) {
        const QString answer =
            app::diagnosis(platform::environment(), environment.value()->report());
        std::fputs(qUtf8Printable(answer), stdout);
        return EXIT_SUCCESS;
    }
    return track(*environment.value(), signals);
}
