// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/kwin_scripts.h"

#include <QFile>
#include <QTest>

#include <utility>

namespace support {

namespace {

constexpr int kAnswerMs = 20000;

QString path()
{
    return QStringLiteral("/org/example/KWinScripts");
}

QString scriptingInterface()
{
    return QStringLiteral("org.kde.kwin.Scripting");
}

} // namespace

KWinScripts::KWinScripts(QString folder)
    : m_folder(std::move(folder))
    , m_connectionName(
          QStringLiteral("kwin-scripts-%1").arg(reinterpret_cast<quintptr>(this), 0, 16))
    , m_bus(m_connectionName)
{
}

KWinScripts::~KWinScripts()
{
    QDBusConnection::disconnectFromBus(m_connectionName);
}

platform::Outcome KWinScripts::connectTo(const QString& address)
{
    m_bus = QDBusConnection::connectToBus(address, m_connectionName);
    if (!m_bus.isConnected() ||
        !m_bus.registerObject(path(), this, QDBusConnection::ExportAllSlots))
        return platform::Error{
            QStringLiteral("cannot connect to the bus: %1").arg(m_bus.lastError().message())};
    return platform::success();
}

QDBusMessage KWinScripts::ask(const QString& objectPath,
                              const QString& interface,
                              const QString& method,
                              const QVariantList& arguments)
{
    QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.kde.KWin"), objectPath, interface, method);
    question.setArguments(arguments);
    return m_bus.call(question, QDBus::Block, kAnswerMs);
}

QString KWinScripts::run(const QString& text)
{
    const QString name = QStringLiteral("test-%1").arg(++m_count);
    m_said.clear();
    const QString whole = QStringLiteral("function say(text) { callDBus('%1', '%2', "
                                         "'org.example.KWinScripts', 'say', text); }\n")
                              .arg(m_bus.baseService(), path()) +
                          text;
    const bool isLoaded(load(whole, name));
    if (isLoaded)
        static_cast<void>(QTest::qWaitFor([this] { return !m_said.isEmpty(); }, kAnswerMs));
    unload(name);
    return m_said.value(0);
}

platform::Outcome KWinScripts::load(const QString& text, const QString& name)
{
    QFile file(m_folder + u'/' + name + QLatin1StringView(".js"));
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        return platform::Error{QStringLiteral("cannot write %1").arg(file.fileName())};
    file.close();
    const QDBusMessage loaded = ask(QStringLiteral("/Scripting"),
                                    scriptingInterface(),
                                    QStringLiteral("loadScript"),
                                    {file.fileName(), name});
    const QVariant id = loaded.arguments().value(0);
    if (loaded.type() != QDBusMessage::ReplyMessage || id.toInt() < 0)
        return platform::Error{QStringLiteral("KWin does not load a script: %1 %2")
                                   .arg(loaded.errorMessage(), id.toString())};
    for (const char* parent : {"/Scripting/Script", "/"}) {
        const QDBusMessage ran = ask(QLatin1StringView(parent) + id.toString(),
                                     QStringLiteral("org.kde.kwin.Script"),
                                     QStringLiteral("run"));
        if (ran.type() == QDBusMessage::ReplyMessage)
            return platform::success();
    }
    return platform::Error{QStringLiteral("KWin does not run a script")};
}

bool KWinScripts::isLoaded(const QString& name)
{
    return ask(QStringLiteral("/Scripting"),
               scriptingInterface(),
               QStringLiteral("isScriptLoaded"),
               {name})
        .arguments()
        .value(0)
        .toBool();
}

bool KWinScripts::unload(const QString& name)
{
    return ask(QStringLiteral("/Scripting"),
               scriptingInterface(),
               QStringLiteral("unloadScript"),
               {name})
        .arguments()
        .value(0)
        .toBool();
}

} // namespace support
