// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/command_line.h"

#include "base/terminal_text.h"
#include "platform/url_opener.h"
#include "shell/window_router.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace app {

using platform::Error;
using platform::Result;

namespace {

/// The options, and the parser that knows them.
class Options final
{
public:
    explicit Options(const QStringList& arguments)
    {
        action.setFlags(QCommandLineOption::HiddenFromHelp);
        serviceMode.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.setApplicationDescription(
            QStringLiteral("Records which application is in front, once a second, into a file of "
                           "yours. Ends on SIGTERM, SIGINT and SIGHUP."));
        parser.addPositionalArgument(QStringLiteral("address"),
                                     QStringLiteral("Opens the window that answers the address: "
                                                    "velomira://dashboard or velomira://login."),
                                     QStringLiteral("[address]"));
        parser.addOptions({diagnose, signIn, signOut, browserSupport, remove, action, serviceMode});
        help = {parser.addHelpOption(), parser.addVersionOption()};
        parse(arguments);
    }

    [[nodiscard]] bool isHelpWanted() const
    {
        return std::ranges::any_of(help,
                                   [this](const auto& option) { return parser.isSet(option); });
    }

    QCommandLineOption diagnose{
        QStringLiteral("diagnose"),
        QStringLiteral("Print what was found on this desktop, without personal data, and end.")};
    QCommandLineOption signIn{
        QStringLiteral("sign-in"),
        QStringLiteral("Sign in to the service, keep the session in the keyring, and end. The "
                       "password is read from standard input."),
        QStringLiteral("email")};
    QCommandLineOption signOut{QStringLiteral("sign-out"),
                               QStringLiteral("Sign out, also the instance that runs, remove the "
                                              "session from the keyring, and end.")};
    QCommandLineOption browserSupport{
        QStringLiteral("install-browser-support"),
        QStringLiteral("Set up the browsers of this user, so that they tell the address of the "
                       "page in front, say what is left to do, and end.")};
    QCommandLineOption remove{
        QStringLiteral("remove"),
        QStringLiteral("With --install-browser-support: take away what it has created.")};
    /// For the launcher's actions where there is no bus.
    QCommandLineOption action{QStringLiteral("action"), QString(), QStringLiteral("name")};
    /// What a bus passes that starts the program.
    QCommandLineOption serviceMode{QStringLiteral("gapplication-service")};
    QList<QCommandLineOption> help;
    QCommandLineParser parser;
    bool isUnderstood = false;

private:
    void parse(const QStringList& arguments) { isUnderstood = parser.parse(arguments); }
};

/// Without what a session manager adds to a program that it starts again: "-session ID".
QStringList withoutSession(QStringList arguments)
{
    const qsizetype at = arguments.indexOf(QStringLiteral("-session"), 1);
    if (at > 0)
        arguments.remove(at, std::min<qsizetype>(2, arguments.size() - at));
    return arguments;
}

bool isAction(const QString& name)
{
    return name == QLatin1StringView("quit") || shell::windowScene(name) != nullptr;
}

/// What is wrong with the options, one by one or together; empty when nothing is.
QString faultIn(const Options& options)
{
    const QCommandLineParser& parser = options.parser;
    const QStringList positional = parser.positionalArguments();
    if (!options.isUnderstood)
        return parser.errorText().chopped(1); // its full stop
    if (!positional.isEmpty() && !platform::isOwnUrl(positional.first()))
        return QStringLiteral("unexpected argument \"%1\"").arg(positional.first());
    if (positional.size() > 1)
        return QStringLiteral("unexpected argument \"%1\"").arg(positional[1]);
    const auto commands = parser.isSet(options.diagnose) + parser.isSet(options.signIn) +
                          parser.isSet(options.signOut) + parser.isSet(options.browserSupport);
    if (commands > 1)
        return QStringLiteral("--diagnose, --sign-in, --sign-out and --install-browser-support "
                              "exclude each other");
    if (parser.isSet(options.remove) && !parser.isSet(options.browserSupport))
        return QStringLiteral("--remove belongs to --install-browser-support");
    if (parser.isSet(options.signIn) && parser.value(options.signIn).isEmpty())
        return QStringLiteral("--sign-in needs an e-mail address");
    if (parser.isSet(options.action) && !isAction(parser.value(options.action)))
        return QStringLiteral("there is no action \"%1\"").arg(parser.value(options.action));
    const auto requests = parser.isSet(options.action) + parser.isSet(options.serviceMode) +
                          static_cast<int>(positional.size());
    if (commands + requests > 1)
        return QStringLiteral("an address, an action and another command exclude each other");
    return {};
}

} // namespace

Result<CommandLine> readCommandLine(const QStringList& arguments)
{
    const Options options(withoutSession(arguments));
    const QCommandLineParser& parser = options.parser;
    if (const QString fault = faultIn(options); !fault.isEmpty())
        return Error{fault};
    CommandLine result;
    if (parser.isSet(options.diagnose))
        result.task = CommandLine::Task::Diagnose;
    else if (parser.isSet(options.signIn))
        result.task = CommandLine::Task::SignIn;
    else if (parser.isSet(options.signOut))
        result.task = CommandLine::Task::SignOut;
    else if (parser.isSet(options.browserSupport))
        result.task = parser.isSet(options.remove) ? CommandLine::Task::RemoveBrowserSupport
                                                   : CommandLine::Task::InstallBrowserSupport;
    result.email = parser.value(options.signIn);
    result.url = parser.positionalArguments().value(0);
    result.action = parser.value(options.action);
    result.isStartedByBus = parser.isSet(options.serviceMode);
    return result;
}

CommandLine parseCommandLine(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments += QString::fromLocal8Bit(argv[i]);
    if (Options options(arguments); options.isHelpWanted()) {
        const QCoreApplication application(argc, argv); // the help text asks it for its name
        options.parser.process(application);
    }
    const Result<CommandLine> read = readCommandLine(arguments);
    if (!read) {
        complain(read.error().text + QStringLiteral("; see --help"));
        std::exit(EXIT_FAILURE);
    }
    return read.value();
}

void complain(const QString& text)
{
    print({QStringLiteral("Quillstep: ") + text}, stderr);
}

void print(const QStringList& lines, std::FILE* stream)
{
    QByteArray all;
    for (const QString& line : lines)
        all += platform::terminalText(line) + '\n';
    std::fwrite(all.constData(), 1, static_cast<std::size_t>(all.size()), stream);
}

} // namespace app
