// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/firefox.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

namespace support {

namespace {

constexpr int kStartMs = 60000; // on a loaded machine; usual are three seconds

const QString kProgram = QStringLiteral("firefox-esr");

// Nothing that asks, greets or phones home: whatever is not on this machine goes to a proxy that is
// not there.
constexpr const char* kPreferences = R"(
user_pref("marionette.port", 0);
user_pref("network.proxy.type", 1);
user_pref("network.proxy.http", "127.0.0.1");
user_pref("network.proxy.http_port", 9);
user_pref("network.proxy.ssl", "127.0.0.1");
user_pref("network.proxy.ssl_port", 9);
user_pref("network.proxy.no_proxies_on", "127.0.0.1, localhost");
user_pref("network.proxy.failover_direct", false);
user_pref("network.captive-portal-service.enabled", false);
user_pref("network.connectivity-service.enabled", false);
user_pref("browser.shell.checkDefaultBrowser", false);
user_pref("browser.startup.page", 0);
user_pref("browser.startup.homepage_override.mstone", "ignore");
user_pref("browser.aboutwelcome.enabled", false);
user_pref("browser.newtabpage.enabled", false);
user_pref("browser.sessionstore.resume_from_crash", false);
user_pref("browser.tabs.warnOnClose", false);
user_pref("browser.warnOnQuit", false);
user_pref("datareporting.policy.dataSubmissionEnabled", false);
user_pref("datareporting.healthreport.uploadEnabled", false);
user_pref("toolkit.telemetry.enabled", false);
user_pref("app.normandy.enabled", false);
user_pref("app.update.disabledForTesting", true);
user_pref("extensions.update.enabled", false);
user_pref("xpinstall.signatures.required", false);
)";

/// Where the browser tells the port of its remote control once it takes connections.
quint16 portIn(const QString& profile)
{
    QFile file(profile + QStringLiteral("/MarionetteActivePort"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toUShort() : quint16(0);
}

} // namespace

Firefox::Firefox() = default;

Firefox::~Firefox()
{
    close();
}

QStringList Firefox::programs()
{
    return {kProgram};
}

platform::Outcome Firefox::start(const QProcessEnvironment& environment,
                                 const QByteArray& preferences)
{
    QFile::remove(m_folder.filePath(QStringLiteral("MarionetteActivePort")));
    QFile file(m_folder.filePath(QStringLiteral("user.js")));
    if (!file.open(QIODevice::WriteOnly) || file.write(kPreferences + preferences) < 0)
        return platform::Error{QStringLiteral("cannot write %1").arg(file.fileName())};
    file.close();
    const QStringList arguments{QStringLiteral("--no-remote"),
                                QStringLiteral("--marionette"),
                                QStringLiteral("--profile"),
                                m_folder.path(),
                                QStringLiteral("about:blank")};
    if (const auto started = m_browser.start(
            kProgram, arguments, environment, m_folder.filePath(QStringLiteral("log")));
        !started)
        return started;
    const auto isReady = [this] {
        return portIn(m_folder.path()) != 0 || !m_browser.isRunning();
    };
    if (!QTest::qWaitFor(isReady, kStartMs) || !m_browser.isRunning())
        return platform::Error{QStringLiteral("the browser does not come up")};
    m_control = std::make_unique<Marionette>();
    return m_control->connectTo(portIn(m_folder.path()));
}

platform::Outcome Firefox::installExtension(const QString& path, bool alsoInPrivate)
{
    return done(QStringLiteral("Addon:Install"),
                {{QStringLiteral("path"), path},
                 {QStringLiteral("temporary"), true},
                 {QStringLiteral("allowPrivateBrowsing"), alsoInPrivate}});
}

platform::Outcome Firefox::navigate(const QString& url)
{
    return done(QStringLiteral("WebDriver:Navigate"), {{QStringLiteral("url"), url}});
}

platform::Result<QString> Firefox::openTab()
{
    return open(QStringLiteral("tab"), false);
}

platform::Result<QString> Firefox::openWindow()
{
    return open(QStringLiteral("window"), false);
}

platform::Result<QString> Firefox::openPrivateWindow()
{
    return open(QStringLiteral("window"), true);
}

platform::Result<QString> Firefox::open(const QString& type, bool isPrivate)
{
    const auto opened = m_control->ask(QStringLiteral("WebDriver:NewWindow"),
                                       {{QStringLiteral("type"), type},
                                        {QStringLiteral("focus"), true},
                                        {QStringLiteral("private"), isPrivate}});
    if (!opened)
        return opened.error();
    QString tab = opened.value().toObject().value(QLatin1StringView("handle")).toString();
    if (const auto selected = select(tab); !selected)
        return selected.error();
    return tab;
}

platform::Outcome Firefox::select(const QString& tab)
{
    return done(QStringLiteral("WebDriver:SwitchToWindow"),
                {{QStringLiteral("handle"), tab}, {QStringLiteral("focus"), true}});
}

platform::Result<QString> Firefox::selectedTab()
{
    return text(QStringLiteral("WebDriver:GetWindowHandle"));
}

platform::Outcome Firefox::closeTab()
{
    return done(QStringLiteral("WebDriver:CloseWindow"), {});
}

platform::Result<QString> Firefox::pageTitle()
{
    return text(QStringLiteral("WebDriver:GetTitle"));
}

platform::Result<QString> Firefox::run(const QString& script)
{
    return text(QStringLiteral("WebDriver:ExecuteScript"),
                {{QStringLiteral("script"), script}, {QStringLiteral("args"), QJsonArray()}});
}

void Firefox::close()
{
    if (!m_browser.isRunning())
        return;
    if (m_control)
        m_control->tell(QStringLiteral("Marionette:Quit"),
                        {{QStringLiteral("flags"), QJsonArray{QStringLiteral("eForceQuit")}}});
    m_control.reset();
    m_browser.stop();
}

platform::Outcome Firefox::done(const QString& command, const QJsonObject& parameters)
{
    if (const auto answer = m_control->ask(command, parameters); !answer)
        return answer.error();
    return platform::success();
}

platform::Result<QString> Firefox::text(const QString& command, const QJsonObject& parameters)
{
    const auto answer = m_control->ask(command, parameters);
    if (!answer)
        return answer.error();
    const QJsonValue value = answer.value().toObject().value(QLatin1StringView("value"));
    return value.isString() ? value.toString() : value.toVariant().toString();
}

} // namespace support
