// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/chromium.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace support {

namespace {

constexpr int kPatienceMs = 30000; // on a loaded machine; usual are some seconds for the start
constexpr int kOrdersInBrowser = 3;
constexpr int kAnswersInBrowser = 4;

platform::Outcome outcomeOf(const platform::Result<QJsonObject>& result)
{
    if (!result)
        return result.error();
    return platform::success();
}

} // namespace

Chromium::Chromium() = default;

Chromium::~Chromium()
{
    stop();
    closePipes();
}

QStringList Chromium::programs()
{
    return {QStringLiteral("chromium")};
}

platform::Outcome Chromium::start(const QProcessEnvironment& environment,
                                  const QString& userData,
                                  const QString& extensionFolder,
                                  const QString& url)
{
    std::array<int, 2> orders{};
    std::array<int, 2> answers{};
    if (::pipe2(orders.data(), O_CLOEXEC) != 0 || ::pipe2(answers.data(), O_CLOEXEC) != 0)
        return platform::Error{QStringLiteral("no pipe for chromium")};
    closePipes();
    m_orders = orders[1];
    m_answers = answers[0];
    ::fcntl(m_answers, F_SETFL, O_NONBLOCK);
    m_environment = environment;
    m_userData = userData;
    m_browser.process().setChildProcessModifier([in = orders[0], out = answers[1]] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        // By way of numbers that are out of the way: these may be 3 and 4 already.
        const int inCopy = ::fcntl(in, F_DUPFD, 100);
        const int outCopy = ::fcntl(out, F_DUPFD, 100);
        ::dup2(inCopy, kOrdersInBrowser);
        ::dup2(outCopy, kAnswersInBrowser);
        ::close(inCopy);
        ::close(outCopy);
    });
    const QStringList arguments{QStringLiteral("--no-sandbox"), // tests may run as root
                                QStringLiteral("--user-data-dir=") + userData,
                                QStringLiteral("--load-extension=") + extensionFolder,
                                QStringLiteral("--remote-debugging-pipe"),
                                QStringLiteral("--no-first-run"),
                                QStringLiteral("--disable-gpu"),
                                QStringLiteral("--disable-background-networking"),
                                QStringLiteral("--disable-component-update"),
                                QStringLiteral("--hide-crash-restore-bubble"),
                                QStringLiteral("--password-store=basic"),
                                url};
    const auto started = m_browser.start(
        QStringLiteral("chromium"), arguments, environment, userData + QLatin1StringView(".log"));
    ::close(orders[0]);
    ::close(answers[1]);
    if (!started)
        return started;
    const bool isThere =
        QTest::qWaitFor([&] { return static_cast<bool>(target(url)); }, kPatienceMs);
    if (!isThere)
        return platform::Error{QStringLiteral("chromium does not show its first page")};
    return platform::success();
}

void Chromium::kill()
{
    m_browser.kill();
}

void Chromium::stop()
{
    m_browser.stop();
}

platform::Outcome Chromium::openTab(const QString& url)
{
    return outcomeOf(ask(QStringLiteral("Target.createTarget"), {{QStringLiteral("url"), url}}));
}

platform::Outcome Chromium::openWindow(const QString& url)
{
    return outcomeOf(ask(QStringLiteral("Target.createTarget"),
                         {{QStringLiteral("url"), url}, {QStringLiteral("newWindow"), true}}));
}

platform::Outcome Chromium::openPrivateWindow(const QString& url)
{
    ChildProcess launcher;
    const auto started = launcher.start(QStringLiteral("chromium"),
                                        {QStringLiteral("--no-sandbox"),
                                         QStringLiteral("--user-data-dir=") + m_userData,
                                         QStringLiteral("--incognito"),
                                         url},
                                        m_environment,
                                        m_userData + QLatin1StringView(".log"));
    if (!started)
        return started;
    if (!QTest::qWaitFor([&] { return !launcher.isRunning() && target(url); }, kPatienceMs))
        return platform::Error{QStringLiteral("chromium opens no incognito window")};
    return platform::success();
}

platform::Outcome Chromium::navigate(const QString& url, const QString& to)
{
    const auto found = target(url);
    if (!found)
        return found.error();
    const auto attached = session(found.value());
    if (!attached)
        return attached.error();
    return outcomeOf(
        ask(QStringLiteral("Page.navigate"), {{QStringLiteral("url"), to}}, attached.value()));
}

platform::Outcome Chromium::show(const QString& url)
{
    return toTarget(QStringLiteral("Target.activateTarget"), url);
}

platform::Outcome Chromium::close(const QString& url)
{
    return toTarget(QStringLiteral("Target.closeTarget"), url);
}

platform::Result<QJsonObject> Chromium::run(const QString& url, const QString& script)
{
    const auto found = target(url);
    if (!found)
        return found.error();
    const auto attached = session(found.value());
    if (!attached)
        return attached.error();
    return ask(QStringLiteral("Runtime.evaluate"),
               {{QStringLiteral("expression"), script}, {QStringLiteral("awaitPromise"), true}},
               attached.value());
}

platform::Outcome Chromium::stopWorkers()
{
    const auto targets = ask(QStringLiteral("Target.getTargets"), {});
    if (!targets)
        return targets.error();
    const QJsonArray all = targets.value()[QLatin1StringView("targetInfos")].toArray();
    for (const QJsonValue& one : all) {
        if (one[QLatin1StringView("type")].toString() != QLatin1StringView("service_worker"))
            continue;
        const auto closed = ask(QStringLiteral("Target.closeTarget"),
                                {{QStringLiteral("targetId"), one[QLatin1StringView("targetId")]}});
        if (!closed)
            return closed.error();
    }
    return platform::success();
}

platform::Outcome Chromium::toTarget(const QString& method, const QString& url)
{
    const auto found = target(url);
    if (!found)
        return found.error();
    return outcomeOf(ask(method, {{QStringLiteral("targetId"), found.value()}}));
}

platform::Result<QString> Chromium::target(const QString& url)
{
    const auto targets = ask(QStringLiteral("Target.getTargets"), {});
    if (!targets)
        return targets.error();
    const QJsonArray all = targets.value()[QLatin1StringView("targetInfos")].toArray();
    for (const QJsonValue& one : all) {
        if (one[QLatin1StringView("type")].toString() == QLatin1StringView("page") &&
            one[QLatin1StringView("url")].toString() == url)
            return one[QLatin1StringView("targetId")].toString();
    }
    return platform::Error{QStringLiteral("chromium does not show ") + url};
}

platform::Result<QString> Chromium::session(const QString& target)
{
    const auto attached =
        ask(QStringLiteral("Target.attachToTarget"),
            {{QStringLiteral("targetId"), target}, {QStringLiteral("flatten"), true}});
    if (!attached)
        return attached.error();
    return attached.value()[QLatin1StringView("sessionId")].toString();
}

platform::Result<QJsonObject>
Chromium::ask(const QString& method, const QJsonObject& parameters, const QString& session)
{
    QJsonObject order{{QStringLiteral("id"), ++m_lastOrder},
                      {QStringLiteral("method"), method},
                      {QStringLiteral("params"), parameters}};
    if (!session.isEmpty())
        order.insert(QStringLiteral("sessionId"), session);
    QByteArray text = QJsonDocument(order).toJson(QJsonDocument::Compact);
    text.append('\0');
    m_lastAnswer = {};
    if (::write(m_orders, text.constData(), static_cast<std::size_t>(text.size())) != text.size())
        return platform::Error{QStringLiteral("chromium takes no orders")};
    const auto isAnswered = [this] {
        readAnswers();
        return m_lastAnswer[QLatin1StringView("id")].toInt() == m_lastOrder;
    };
    if (!QTest::qWaitFor(isAnswered, kPatienceMs))
        return platform::Error{method + QStringLiteral(" is not answered")};
    const QJsonObject error = m_lastAnswer[QLatin1StringView("error")].toObject();
    if (!error.isEmpty())
        return platform::Error{method + QLatin1StringView(": ") +
                               error[QLatin1StringView("message")].toString()};
    return m_lastAnswer[QLatin1StringView("result")].toObject();
}

/// Keeps the answer to the last order; everything else is an event that nobody asked for.
void Chromium::readAnswers()
{
    std::array<char, 65536> bytes{};
    for (ssize_t count = 0; (count = ::read(m_answers, bytes.data(), bytes.size())) > 0;)
        m_received.append(bytes.data(), count);
    for (qsizetype end = 0; (end = m_received.indexOf('\0')) >= 0;) {
        const QJsonObject message = QJsonDocument::fromJson(m_received.left(end)).object();
        m_received.remove(0, end + 1);
        if (message[QLatin1StringView("id")].toInt() == m_lastOrder)
            m_lastAnswer = message;
    }
}

void Chromium::closePipes()
{
    if (m_orders >= 0)
        ::close(m_orders);
    if (m_answers >= 0)
        ::close(m_answers);
    m_orders = -1;
    m_answers = -1;
    m_received.clear();
}

} // namespace support
