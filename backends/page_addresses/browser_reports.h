// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/page_addresses/browser_script_runner.h"
#include "backends/posix/process.h"
#include "backends/posix/this_process.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform::browsers {

/// A process that a browser has started.
struct BrowserChild
{
    posix::ProcessMark process;
    QString executable; ///< full path, also when the file has been replaced since
    /// The browser: the parent, and the ancestors after it that run the same executable. Programs
    /// that the browser was started from do not count.
    std::vector<posix::ProcessMark> browser;
    QString browserExecutable;
};

/// Reads from `procFolder` who `pid` is and who started it; none when it is gone, is replaced by
/// another while we look, or may not be looked at. Reads some small files of the kernel's, bounded.
/// Any thread.
[[nodiscard]] std::optional<BrowserChild>
readBrowserChild(std::int32_t pid, const QString& procFolder = QStringLiteral("/proc"));

/// What browsers tell by our extension and the native host that they start for it: the object
/// /com/velomira/UsageMonitor/Browsers on the session bus, interface
/// com.velomira.UsageMonitor.Browsers1. Only processes that run our host's executable are believed,
/// and each only about the browser that is its parent, because anybody may call.
///
/// A host in turn tells nothing before it has seen which executable this process runs. So when it
/// asks for that, the shield of the process is lowered until its first report, or for a second.
///
/// Where the desktop tells no process, an address is known only if exactly one browser of the
/// family tells that it has the focus.
///
/// The private windows of Chromium have titles like all others, and it takes Chromium some
/// hundredths of a second to tell that such a window is in front. So when another of its windows
/// is in front than at the last look, what Chromium told before that look counts no more: it tells
/// anew whenever the focus changes. And for a quarter of a second nothing counts, because it may
/// tell of the window before once more meanwhile.
/// Main thread, with an event loop. Nothing waits; a caller's process is looked up at its first
/// call.
class BrowserReports final : public QObject, public AddressSource, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.velomira.UsageMonitor.Browsers1")

public:
    /// As many hosts are listened to at a time; each profile of a browser has one.
    static constexpr std::size_t kMostHosts = 64;
    /// Longer texts are refused, in UTF-16 units.
    static constexpr qsizetype kLongestText = 8192;

    /// On `bus`, which owns or is going to own the application's name; hosts whose executable has
    /// the path `hostExecutable` are believed. Asks those that are there for their reports.
    BrowserReports(QDBusConnection bus,
                   QString hostExecutable,
                   QString procFolder = QStringLiteral("/proc"));
    BrowserReports(const BrowserReports&) = delete;
    BrowserReports& operator=(const BrowserReports&) = delete;
    ~BrowserReports() override;

    [[nodiscard]] std::optional<QString> addressIn(const FrontBrowser& front) override;

    /// "extension: connected to chromium, firefox-esr".
    [[nodiscard]] QString state() const override;

    /// The executables of the browsers whose hosts are believed, one for each host.
    [[nodiscard]] QStringList connectedBrowsers() const;

    // NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.

    /// For hosts: lets the caller look who this process is, once. Answered when it can.
    Q_SCRIPTABLE Q_SLOT void Introduce();

    /// For hosts: the page on show in the window of the browser that has the focus, or that none
    /// has. `family` is "chromium" or "firefox".
    Q_SCRIPTABLE Q_SLOT void
    Report(const QString& family, const QString& address, const QString& title, bool focused);

Q_SIGNALS:
    /// To hosts: tell the latest once more.
    Q_SCRIPTABLE void Wanted();

    // NOLINTEND(readability-identifier-naming)

    /// The hosts that are believed are others now.
    void connectedBrowsersChanged();

private:
    enum class Trust : std::uint8_t { Asked, Believed, Refused };

    struct Host
    {
        QString connection; // its unique name on the bus
        Trust trust = Trust::Asked;
        BrowserChild process;
        Family family = Family::Chromium;
        // The latest report; the address is empty when nothing is known.
        bool isFocused = false;
        QString address;
        QString title;
        std::uint64_t reports = 0; // how many have come
        // At the last look at a window of this browser: which it was, and how many had come. Before
        // it came to the front: how many had come.
        std::uint64_t window = 0;
        std::uint64_t reportsSeen = 0;
        std::uint64_t reportsBefore = 0;
        QElapsedTimer inFront; // since the window was first seen there
        bool hasAsked = false; // who this process is
        bool isLooking = false;
        std::optional<QDBusMessage> introduction; // to be answered when it is known who asks
    };

    [[nodiscard]] Host* find(const QString& connection);
    [[nodiscard]] Host* caller();
    [[nodiscard]] Host* welcome(const QString& connection);
    void identify(const QString& connection, std::int32_t pid);
    void showTo(Host& host);
    void raiseShieldUnlessLookedAt();
    void raiseShield();
    void forget(const QString& connection);
    Q_SLOT void forgetAll();
    [[nodiscard]] bool speaksFor(const Host& host, const FrontBrowser& front) const;
    [[nodiscard]] static bool looksBehind(Host& host, const FrontBrowser& front);

    QDBusConnection m_bus;
    QString m_hostExecutable;
    QString m_procFolder;
    QDBusServiceWatcher m_watcher;
    std::vector<Host> m_hosts; // in the order of their first calls
    std::optional<posix::LoweredShield> m_lowered;
    QTimer m_longestLook;
};

} // namespace platform::browsers
