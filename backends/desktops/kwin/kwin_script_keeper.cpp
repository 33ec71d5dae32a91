// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/kwin/kwin_script_keeper.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <utility>

namespace platform::kwin {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kLimit = seconds(2); // of one answer; usual is a millisecond
constexpr int kFarewellMs = 200;
constexpr milliseconds kTimeToStart(1500);
constexpr milliseconds kTimeToReport(500); // it does so before it is said to be started
constexpr milliseconds kFirstLook = seconds(3);
constexpr milliseconds kLongestBetweenLooks = seconds(60);
// KWin has its name on the bus some time before it takes scripts.
constexpr milliseconds kFirstPause(250);
constexpr int kMostDoublings = 8;
constexpr seconds kPatience(2);

QString newToken()
{
    return QUuid::createUuid().toString(QUuid::Id128);
}

QString privateFolder()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QFileInfo folder(runtime);
    return folder.isDir() && folder.isWritable() ? runtime : QDir::tempPath();
}

/// The script with its blanks filled in. None of the values can end the string that it stands in:
/// they are a bus's unique name, an object path and names of ours.
QString scriptText(const KWinScriptTarget& target, const QString& token)
{
    QFile resource(QStringLiteral(":/kwin/front_window.js"));
    if (!resource.open(QIODevice::ReadOnly))
        return {};
    QString text = QString::fromUtf8(resource.readAll());
    text.replace(QLatin1StringView("@SERVICE@"), target.service);
    text.replace(QLatin1StringView("@PATH@"), target.path);
    text.replace(QLatin1StringView("@INTERFACE@"), reportInterface());
    text.replace(QLatin1StringView("@NAME@"), target.name);
    text.replace(QLatin1StringView("@TOKEN@"), token);
    return text;
}

} // namespace

Q_LOGGING_CATEGORY(lcKWin, "velomira.kwin", QtCriticalMsg)

QString reportInterface()
{
    return QStringLiteral("com.velomira.UsageMonitor.KWin");
}

QString reportMethod()
{
    return QStringLiteral("report");
}

Result<std::unique_ptr<QTemporaryFile>> writeScript(const KWinScriptTarget& target,
                                                    const QString& token)
{
    // QTemporaryFile makes files that only their owner may read.
    auto file = std::make_unique<QTemporaryFile>(privateFolder() +
                                                 QLatin1StringView("/velomira-XXXXXX.js"));
    const QByteArray text = scriptText(target, token).toUtf8();
    if (text.isEmpty() || !file->open() || file->write(text) != text.size() || !file->flush())
        return Error{QStringLiteral("cannot write the script: %1").arg(file->errorString())};
    file->close();
    return file;
}

KWinScriptKeeper::KWinScriptKeeper(QDBusConnection bus, KWinScriptTarget target)
    : m_bus(std::move(bus))
    , m_target(std::move(target))
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::CoarseTimer);
    connect(&m_timer, &QTimer::timeout, this, &KWinScriptKeeper::goOn);
}

KWinScriptKeeper::~KWinScriptKeeper()
{
    // Waiting for the answer has the message written before the process can end.
    if (m_state != State::NoKWin && m_bus.isConnected())
        m_bus.call(scripting("unloadScript", {m_target.name}), QDBus::Block, kFarewellMs);
}

void KWinScriptKeeper::keepIn(const QString& kwin)
{
    m_question.forget();
    m_kwin = kwin;
    m_state = State::NoKWin;
    m_failures = 0;
    m_patience.setRemainingTime(kPatience);
    m_timer.stop();
    m_file.reset();
    if (!m_kwin.isEmpty())
        load();
}

void KWinScriptKeeper::noteReport()
{
    m_state = State::Running;
    m_failures = 0;
    m_file.reset();
    m_betweenLooks = kFirstLook;
    m_timer.start(m_betweenLooks);
}

void KWinScriptKeeper::noteInput()
{
    // Without a timer there is a question on its way.
    if (m_state != State::Running || !m_timer.isActive())
        return;
    const milliseconds passed = m_timer.intervalAsDuration() - m_timer.remainingTimeAsDuration();
    m_betweenLooks = kFirstLook;
    m_timer.start(std::max(kFirstLook - passed, milliseconds(0)));
}

QDBusMessage KWinScriptKeeper::scripting(const char* method, const QVariantList& arguments) const
{
    return dbus::callOf(m_kwin,
                        QStringLiteral("/Scripting"),
                        QStringLiteral("org.kde.kwin.Scripting"),
                        QLatin1StringView(method),
                        arguments);
}

QDBusMessage KWinScriptKeeper::run(const QString& object) const
{
    return dbus::callOf(m_kwin,
                        object + QString::number(m_id),
                        QStringLiteral("org.kde.kwin.Script"),
                        QStringLiteral("run"));
}

void KWinScriptKeeper::ask(const QDBusMessage& question, Handler handler)
{
    m_question.ask<>(
        m_bus,
        question,
        [this, handler](const QDBusPendingReply<>& reply) { (this->*handler)(reply.reply()); },
        kLimit);
}

void KWinScriptKeeper::load()
{
    m_question.forget();
    m_state = State::Loading;
    m_hasReplaced = false;
    m_timer.stop();
    const QString token = newToken();
    Q_EMIT tokenChanged(token);
    auto file = writeScript(m_target, token);
    if (!file) {
        qCWarning(lcKWin) << file.error().text;
        fail();
        return;
    }
    m_file = std::move(file).value();
    askToLoad();
}

void KWinScriptKeeper::askToLoad()
{
    ask(scripting("loadScript", {m_file->fileName(), m_target.name}), &KWinScriptKeeper::takeId);
}

void KWinScriptKeeper::takeId(const QDBusMessage& reply)
{
    bool isNumber = false;
    m_id = reply.arguments().value(0).toInt(&isNumber);
    if (reply.type() != QDBusMessage::ReplyMessage || !isNumber || (m_id < 0 && m_hasReplaced)) {
        fail();
        return;
    }
    if (m_id < 0) { // the name is taken
        m_hasReplaced = true;
        ask(scripting("unloadScript", {m_target.name}), &KWinScriptKeeper::takeFormerGone);
        return;
    }
    m_state = State::Starting;
    m_timer.start(kTimeToStart);
    ask(run(QStringLiteral("/Scripting/Script")), &KWinScriptKeeper::takeStarted);
}

void KWinScriptKeeper::takeFormerGone(const QDBusMessage& reply)
{
    if (reply.type() == QDBusMessage::ReplyMessage)
        askToLoad();
    else
        fail();
}

void KWinScriptKeeper::takeStarted(const QDBusMessage& reply)
{
    // KWin 5 has the object elsewhere.
    if (reply.type() == QDBusMessage::ReplyMessage)
        takeStartedOld(reply);
    else
        ask(run(QStringLiteral("/")), &KWinScriptKeeper::takeStartedOld);
}

void KWinScriptKeeper::takeStartedOld(const QDBusMessage& reply)
{
    if (m_state != State::Starting)
        return;
    if (reply.type() == QDBusMessage::ReplyMessage)
        m_timer.start(kTimeToReport);
    else
        goOn();
}

void KWinScriptKeeper::takePresence(const QDBusMessage& reply)
{
    const bool isSure = reply.type() == QDBusMessage::ReplyMessage;
    if (isSure && !reply.arguments().value(0).toBool()) {
        qCInfo(lcKWin) << "the script has gone";
        m_patience.setRemainingTime(kPatience);
        Q_EMIT lost();
        load();
        return;
    }
    m_betweenLooks = std::min(m_betweenLooks * 2, kLongestBetweenLooks);
    m_timer.start(m_betweenLooks);
}

void KWinScriptKeeper::fail()
{
    m_question.forget();
    m_state = State::Failed;
    m_file.reset();
    qCInfo(lcKWin) << "the script does not run, failures before this one:" << m_failures;
    m_timer.start(kFirstPause * (1 << std::min(m_failures, kMostDoublings)));
    ++m_failures;
    if (m_patience.hasExpired())
        Q_EMIT failed();
}

void KWinScriptKeeper::goOn()
{
    switch (m_state) {
    case State::Starting:
        // KWin gives out numbers of scripts twice once one has been unloaded, and then runs the
        // other one. This runs all that do not run yet.
        m_state = State::StartingAll;
        m_timer.start(kTimeToStart);
        m_bus.send(scripting("start"));
        break;
    case State::StartingAll:
        fail();
        break;
    case State::Running:
        ask(scripting("isScriptLoaded", {m_target.name}), &KWinScriptKeeper::takePresence);
        break;
    case State::Failed:
        load();
        break;
    case State::NoKWin:
    case State::Loading:
        break;
    }
}

} // namespace platform::kwin
