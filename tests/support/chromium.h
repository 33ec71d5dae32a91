// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QByteArray>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace support {

/// A real Chromium with an unpacked extension, driven over its debugging pipe. Ends with this
/// object, and with the test process.
/// Main thread. Calls block until the browser has answered, for some seconds at most, and run the
/// event loop meanwhile; a failure names what was asked.
class Chromium final
{
public:
    Chromium();
    Chromium(const Chromium&) = delete;
    Chromium& operator=(const Chromium&) = delete;
    ~Chromium();

    [[nodiscard]] static QStringList programs();

    /// Starts it with its data in the folder `userData` and with the page `url`.
    [[nodiscard]] platform::Outcome start(const QProcessEnvironment& environment,
                                          const QString& userData,
                                          const QString& extensionFolder,
                                          const QString& url);

    /// Ends it without a chance to say goodbye.
    void kill();

    /// Asks it to end. Returns when it has.
    void stop();

    [[nodiscard]] qint64 pid() const { return m_browser.pid(); }

    /// Opens `url` in a new tab of the window used last, or in a new window, and shows it.
    [[nodiscard]] platform::Outcome openTab(const QString& url);
    [[nodiscard]] platform::Outcome openWindow(const QString& url);

    /// As a user does from a launcher: asks the running browser to open an incognito window.
    [[nodiscard]] platform::Outcome openPrivateWindow(const QString& url);

    /// The tab that shows `url`: goes to another address, is shown in its window, is closed, runs a
    /// script.
    [[nodiscard]] platform::Outcome navigate(const QString& url, const QString& to);
    [[nodiscard]] platform::Outcome show(const QString& url);
    [[nodiscard]] platform::Outcome close(const QString& url);
    [[nodiscard]] platform::Result<QJsonObject> run(const QString& url, const QString& script);

    /// Ends the workers of all extensions, as the browser does when they have been idle.
    [[nodiscard]] platform::Outcome stopWorkers();

private:
    [[nodiscard]] platform::Result<QJsonObject>
    ask(const QString& method, const QJsonObject& parameters, const QString& session = {});
    [[nodiscard]] platform::Result<QString> target(const QString& url);
    [[nodiscard]] platform::Result<QString> session(const QString& target);
    [[nodiscard]] platform::Outcome toTarget(const QString& method, const QString& url);
    void readAnswers();
    void closePipes();

    QProcessEnvironment m_environment;
    QString m_userData;
    ChildProcess m_browser;
    int m_orders = -1;
    int m_answers = -1;
    QByteArray m_received;
    int m_lastOrder = 0;
    QJsonObject m_lastAnswer;
};

} // namespace support
