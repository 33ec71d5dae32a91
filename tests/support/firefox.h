// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"
#include "tests/support/marionette.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

namespace support {

/// A real Firefox with a fresh profile, under remote control. It reaches nothing but this machine.
/// Ends with this object, and with the test process.
/// Main thread. Calls block until the browser has done what they ask for, for some seconds at most,
/// and run the event loop meanwhile.
class Firefox final
{
public:
    Firefox();
    Firefox(const Firefox&) = delete;
    Firefox& operator=(const Firefox&) = delete;
    ~Firefox();

    /// The programs that it needs; see REQUIRE_PROGRAMS.
    [[nodiscard]] static QStringList programs();

    /// Opens it with one window and an empty page. `environment` has a display, a session bus and
    /// an own home. `preferences` are further lines of the profile's user.js.
    [[nodiscard]] platform::Outcome start(const QProcessEnvironment& environment,
                                          const QByteArray& preferences = {});

    /// Installs the extension in this folder or archive until the browser ends.
    [[nodiscard]] platform::Outcome installExtension(const QString& path,
                                                     bool alsoInPrivate = false);

    /// Goes to an address in the selected tab; returns when the page has loaded.
    [[nodiscard]] platform::Outcome navigate(const QString& url);

    /// Opens a tab in the window of the selected one, in front, and selects it. The handle of the
    /// tab is for select().
    [[nodiscard]] platform::Result<QString> openTab();
    /// Opens a window, in front, and selects its tab.
    [[nodiscard]] platform::Result<QString> openWindow();
    /// Opens a private window, in front, and selects its tab.
    [[nodiscard]] platform::Result<QString> openPrivateWindow();

    /// Brings a tab and its window to the front.
    [[nodiscard]] platform::Outcome select(const QString& tab);
    /// The tab that commands go to.
    [[nodiscard]] platform::Result<QString> selectedTab();

    /// Closes the selected tab, and with the last tab its window. Select another one then.
    [[nodiscard]] platform::Outcome closeTab();

    /// The title of the page in the selected tab.
    [[nodiscard]] platform::Result<QString> pageTitle();

    /// What the function body `script` returns in the page of the selected tab, as text.
    [[nodiscard]] platform::Result<QString> run(const QString& script);

    /// Asks it to end and makes it after a few seconds.
    void close();

    [[nodiscard]] ChildProcess& process() { return m_browser; }

private:
    [[nodiscard]] platform::Result<QString> open(const QString& type, bool isPrivate);
    [[nodiscard]] platform::Outcome done(const QString& command, const QJsonObject& parameters);
    [[nodiscard]] platform::Result<QString> text(const QString& command,
                                                 const QJsonObject& parameters = {});

    QTemporaryDir m_folder;
    ChildProcess m_browser;
    std::unique_ptr<Marionette> m_control;
};

} // namespace support
