// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/page_addresses/browser_reports.h"

#include "backends/dbus/ask.h"
#include "backends/dbus/bus_address.h"
#include "backends/xdg/known_browsers.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QFileInfo>
#include <QLoggingCategory>

#include <algorithm>
#include <chrono>
#include <utility>

namespace platform::browsers {

namespace {

// For developers; off by default. Messages tell no addresses and titles.
Q_LOGGING_CATEGORY(lcBrowsers, "velomira.browsers", QtCriticalMsg)

const QString kNoHost = QStringLiteral("not a browser's host");
constexpr std::chrono::seconds kTimeToNameAProcess(1);
constexpr qint64 kTimeToSettleMs = 250;
constexpr int kTimeToLookMs = 1000;

QString objectPath()
{
    return QStringLiteral("/com/velomira/UsageMonitor/Browsers");
}

std::optional<Family> familyNamed(const QString& name)
{
    if (name == QLatin1StringView("chromium"))
        return Family::Chromium;
    return name == QLatin1StringView("firefox") ? std::optional(Family::Other) : std::nullopt;
}

/// The extension tells only such addresses, and none for everything else.
bool isTellable(const QString& address)
{
    return address.isEmpty() || address.startsWith(QLatin1StringView("https:")) ||
           address.startsWith(QLatin1StringView("http:")) ||
           address.startsWith(QLatin1StringView("file:"));
}

} // namespace

std::optional<BrowserChild> readBrowserChild(std::int32_t pid, const QString& procFolder)
{
    // More processes of one program on top of each other no browser has.
    constexpr std::size_t kMostAncestors = 8;
    const auto stat = posix::readProcessStat(pid, procFolder);
    if (!stat)
        return std::nullopt;
    BrowserChild child{.process = stat->process,
                       .executable = posix::readExecutable(pid, procFolder),
                       .browser = {},
                       .browserExecutable = posix::readExecutable(stat->parent, procFolder)};
    auto ancestor = posix::readProcessStat(stat->parent, procFolder);
    while (ancestor && child.browser.size() < kMostAncestors &&
           posix::readExecutable(ancestor->process.pid, procFolder) == child.browserExecutable) {
        child.browser.push_back(ancestor->process);
        ancestor = posix::readProcessStat(ancestor->parent, procFolder);
    }
    if (child.executable.isEmpty() || child.browserExecutable.isEmpty() || child.browser.empty() ||
        !posix::isRunning(child.process, procFolder))
        return std::nullopt;
    return child;
}

BrowserReports::BrowserReports(QDBusConnection bus, QString hostExecutable, QString procFolder)
    : m_bus(std::move(bus))
    , m_hostExecutable(std::move(hostExecutable))
    , m_procFolder(std::move(procFolder))
{
    m_watcher.setConnection(m_bus);
    m_watcher.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered, this, &BrowserReports::forget);
    dbus::connectToLoss(m_bus, this, SLOT(forgetAll()));
    m_longestLook.setSingleShot(true);
    m_longestLook.setInterval(kTimeToLookMs);
    m_longestLook.callOnTimeout(this, &BrowserReports::raiseShield);
    if (!m_bus.registerObject(objectPath(),
                              this,
                              QDBusConnection::ExportScriptableSlots |
                                  QDBusConnection::ExportScriptableSignals))
        qCWarning(lcBrowsers, "browsers cannot be listened to: the bus takes no object of ours");
    Q_EMIT Wanted();
}

BrowserReports::~BrowserReports()
{
    m_bus.unregisterObject(objectPath());
}

std::optional<QString> BrowserReports::addressIn(const FrontBrowser& front)
{
    const Host* found = nullptr;
    bool isOne = true; // only one window has the focus: of two hosts that say so one is behind
    for (Host& host : m_hosts) {
        if (!speaksFor(host, front) || looksBehind(host, front) || !host.isFocused)
            continue;
        isOne = isOne && found == nullptr;
        found = &host;
    }
    if (found == nullptr || !isOne) {
        qCDebug(lcBrowsers, "%s host tells of the window in front", isOne ? "no" : "not only one");
        return std::nullopt;
    }
    if (found->address.isEmpty() ||
        !isWindowOfPage(front.windowTitle, found->title, front.family)) {
        qCDebug(lcBrowsers, "what the host told is not the page of the window in front");
        return std::nullopt;
    }
    return found->address;
}

bool BrowserReports::speaksFor(const Host& host, const FrontBrowser& front) const
{
    if (host.trust != Trust::Believed || host.family != front.family)
        return false;
    const auto isInFront = [this, &front](const posix::ProcessMark& process) {
        return process.pid == front.processIdentifier && posix::isRunning(process, m_procFolder);
    };
    return front.processIdentifier == 0 || std::ranges::any_of(host.process.browser, isInFront);
}

/// Whether the report may be that of the window that was in front before.
bool BrowserReports::looksBehind(Host& host, const FrontBrowser& front)
{
    if (front.window != host.window) {
        host.reportsBefore = host.reportsSeen;
        host.inFront.start();
    }
    host.window = front.window;
    host.reportsSeen = host.reports;
    return front.family == Family::Chromium && front.window != 0 &&
           (host.reports <= host.reportsBefore || !host.inFront.hasExpired(kTimeToSettleMs));
}

QString BrowserReports::state() const
{
    QStringList names;
    for (const QString& executable : connectedBrowsers())
        names += QFileInfo(executable).fileName();
    names.removeDuplicates();
    names.sort();
    return names.isEmpty()
               ? QStringLiteral("extension: no browser is connected")
               : QStringLiteral("extension: connected to ") + names.join(QLatin1StringView(", "));
}

QStringList BrowserReports::connectedBrowsers() const
{
    QStringList executables;
    for (const Host& host : m_hosts) {
        if (host.trust == Trust::Believed)
            executables += host.process.browserExecutable;
    }
    return executables;
}

void BrowserReports::Introduce()
{
    if (!calledFromDBus())
        return;
    Host* const host = caller();
    if (host == nullptr)
        return;
    if (std::exchange(host->hasAsked, true)) {
        sendErrorReply(QDBusError::LimitsExceeded, QStringLiteral("asked already"));
        return;
    }
    switch (host->trust) {
    case Trust::Asked:
        setDelayedReply(true);
        host->introduction = message();
        return;
    case Trust::Believed:
        showTo(*host);
        return;
    case Trust::Refused:
        sendErrorReply(QDBusError::AccessDenied, kNoHost);
        return;
    }
}

void BrowserReports::Report(const QString& family,
                            const QString& address,
                            const QString& title,
                            bool focused)
{
    if (!calledFromDBus())
        return;
    Host* const host = caller();
    if (host == nullptr)
        return;
    host->isLooking = false;
    raiseShieldUnlessLookedAt();
    const auto known = familyNamed(family);
    const bool isSound = known && address.size() <= kLongestText && title.size() <= kLongestText &&
                         isTellable(address);
    host->family = known.value_or(Family::Chromium);
    ++host->reports;
    host->isFocused = isSound && focused;
    host->address = isSound ? address : QString();
    host->title = isSound ? title : QString();
    if (!isSound)
        qCWarning(lcBrowsers, "what a host told is no report");
    if (!isSound)
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("not a report"));
    else if (host->trust == Trust::Refused)
        sendErrorReply(QDBusError::AccessDenied, kNoHost);
}

BrowserReports::Host* BrowserReports::find(const QString& connection)
{
    const auto found = std::ranges::find(m_hosts, connection, &Host::connection);
    return found == m_hosts.end() ? nullptr : &*found;
}

/// The one who calls now; none, with the answer given, when there are too many.
BrowserReports::Host* BrowserReports::caller()
{
    Host* host = find(message().service());
    if (host == nullptr)
        host = welcome(message().service());
    if (host == nullptr) {
        qCWarning(lcBrowsers, "a caller finds no place among %zu hosts", kMostHosts);
        sendErrorReply(QDBusError::LimitsExceeded, QStringLiteral("too many callers"));
    }
    return host;
}

/// A place for a new caller, that of the oldest who is not believed when all are taken.
BrowserReports::Host* BrowserReports::welcome(const QString& connection)
{
    if (m_hosts.size() >= kMostHosts) {
        const auto oldest = std::ranges::find_if(
            m_hosts, [](const Host& host) { return host.trust == Trust::Refused; });
        if (oldest == m_hosts.end())
            return nullptr;
        forget(QString(oldest->connection));
    }
    m_hosts.emplace_back().connection = connection;
    m_watcher.addWatchedService(connection);
    dbus::ask<uint>(
        m_bus,
        dbus::processOf(connection),
        this,
        [this, connection](const QDBusPendingReply<uint>& reply) {
            identify(connection, reply.isValid() ? static_cast<std::int32_t>(reply.value()) : 0);
        },
        kTimeToNameAProcess);
    return &m_hosts.back();
}

void BrowserReports::identify(const QString& connection, std::int32_t pid)
{
    Host* const host = find(connection);
    if (host == nullptr)
        return;
    const auto process = readBrowserChild(pid, m_procFolder);
    const bool isHost = process && process->executable == m_hostExecutable;
    host->trust = isHost ? Trust::Believed : Trust::Refused;
    qCInfo(lcBrowsers,
           "the caller %s is %s",
           qPrintable(connection),
           isHost ? "a browser's host" : "refused, it is none");
    const auto introduction = std::exchange(host->introduction, std::nullopt);
    if (introduction && isHost) {
        showTo(*host);
        m_bus.send(introduction->createReply());
    } else if (introduction) {
        m_bus.send(introduction->createErrorReply(QDBusError::AccessDenied, kNoHost));
    }
    if (!isHost)
        return;
    host->process = *process;
    Q_EMIT connectedBrowsersChanged();
}

void BrowserReports::showTo(Host& host)
{
    host.isLooking = true;
    if (!m_lowered)
        m_lowered.emplace();
    m_longestLook.start();
}

void BrowserReports::raiseShieldUnlessLookedAt()
{
    if (std::ranges::none_of(m_hosts, &Host::isLooking))
        raiseShield();
}

void BrowserReports::raiseShield()
{
    m_longestLook.stop();
    m_lowered.reset();
    for (Host& host : m_hosts)
        host.isLooking = false;
}

void BrowserReports::forget(const QString& connection)
{
    m_watcher.removeWatchedService(connection);
    const bool wasBelieved = std::ranges::any_of(m_hosts, [&](const Host& host) {
        return host.connection == connection && host.trust == Trust::Believed;
    });
    std::erase_if(m_hosts, [&](const Host& host) { return host.connection == connection; });
    raiseShieldUnlessLookedAt();
    if (wasBelieved)
        Q_EMIT connectedBrowsersChanged();
}

void BrowserReports::forgetAll()
{
    m_hosts.clear();
    raiseShield();
    m_watcher.setWatchedServices({});
    Q_EMIT connectedBrowsersChanged();
}

} // namespace platform::browsers
