// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/command_line.h"

#include <QCommandLineParser>

#include <cstdio>
#include <cstdlib>

namespace app {

namespace {

[[noreturn]] void refuse(const QString& text)
{
    complain(text + QStringLiteral("; see --help"));
    std::exit(EXIT_FAILURE);
}

} // namespace

CommandLine parseCommandLine(const QCoreApplication& application)
{
    const QCommandLineOption diagnose(
        QStringLiteral("diagnose"),
        QStringLiteral("Print what was found on this desktop, without personal data, and end."));
    const QCommandLineOption signIn(
        QStringLiteral("sign-in"),
        QStringLiteral("Sign in to the service, keep the session in the keyring, and end. The "
                       "password is read from standard input."),
        QStringLiteral("email"));
    const QCommandLineOption signOut(
        QStringLiteral("sign-out"),
        QStringLiteral("Remove the session from the keyring, and end."));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Records which application is in front, once a second, into a file of "
                       "yours. Ends on SIGTERM, SIGINT and SIGHUP."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({diagnose, signIn, signOut});
    parser.process(application);

    if (!parser.positionalArguments().isEmpty())
        refuse(
            QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));
    if (parser.isSet(diagnose) + parser.isSet(signIn) + parser.isSet(signOut) > 1)
        refuse(QStringLiteral("--diagnose, --sign-in and --sign-out exclude each other"));
    if (parser.isSet(signIn) && parser.value(signIn).isEmpty())
        refuse(QStringLiteral("--sign-in needs an e-mail address"));
    if (parser.isSet(signIn))
        return {.task = CommandLine::Task::SignIn, .email = parser.value(signIn)};
    if (parser.isSet(signOut))
        return {.task = CommandLine::Task::SignOut, .email = {}};
    return {.task = parser.isSet(diagnose) ? CommandLine::Task::Diagnose : CommandLine::Task::Track,
            .email = {}};
}

void complain(const QString& text)
{
    std::fprintf(stderr, "Quillstep: %s\n", qUtf8Printable(text));
}

} // namespace app
