// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/accessibility/accessible_front_window.h"

#include "base/exact_utf8.h"

#include <QDBusConnection>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace platform::atspi {

namespace {

constexpr std::chrono::milliseconds kPace{50};
// Less than the second between two calls, one of which may come early.
constexpr std::chrono::milliseconds kFreshness{900};
constexpr std::chrono::milliseconds kBetweenInquiries = std::chrono::seconds(10);
// A program that starts may not know yet that somebody listens when its window gets the focus.
constexpr int kSearchesForNewcomer = 10;
constexpr qsizetype kMostWindows = 64; // of one program

const QString kRegistry = QStringLiteral("org.a11y.atspi.Registry");
const QString kWindowEvents = QStringLiteral("org.a11y.atspi.Event.Window");

bool hasPassed(const QElapsedTimer& since, std::chrono::milliseconds time)
{
    return !since.isValid() || since.hasExpired(time.count());
}

desktop::Presence presenceOf(const AccessibilityBus& bus)
{
    if (bus.isOn())
        return desktop::Presence::Here;
    return bus.isAsking() ? desktop::Presence::Asking : desktop::Presence::Absent;
}

// The windows of these programs are the desktop, panels, overviews and lock screens.
bool isDesktopShell(const QString& program)
{
    static const QStringList shells =
        QStringLiteral("gnome-shell plasmashell cinnamon xfce4-panel xfdesktop lxqt-panel "
                       "mate-panel budgie-panel kscreenlocker_greet xfce4-screensaver-dialog "
                       "light-locker")
            .split(u' ');
    return shells.contains(program);
}

std::optional<QString> titleFrom(const QString& name)
{
    return name.isEmpty() ? std::nullopt : std::optional(cutUtf8(name, desktop::kLongestTitle));
}

/// What the window is, with the number 0; none when its program has not answered, or has answered
/// that it is no application's window.
Told<desktop::FrontWindow> describe(Asker asker, AccessibleObject window)
{
    // All are on their way at the same time.
    Told<QString> askedName = nameOf(asker, window);
    Told<QString> askedProgram = nameOf(asker, rootOf(window.service));
    Told<quint32> askedProcess = processOf(asker, window.service);
    Told<quint32> askedRole = roleOf(asker, window);
    Told<Attributes> askedAttributes = attributesOf(asker, window);
    const std::optional<QString> name = co_await askedName;
    const std::optional<QString> programName = co_await askedProgram;
    const std::optional<quint32> process = co_await askedProcess;
    const std::optional<quint32> role = co_await askedRole;
    const std::optional<Attributes> attributes = co_await askedAttributes;
    const QString program = programName.value_or(QString());
    const QString type =
        attributes.value_or(Attributes()).value(QStringLiteral("window-type")); // GTK tells it
    if (!name || !process || role == kRoleDesktopFrame || type == QLatin1StringView("dock") ||
        type == QLatin1StringView("desktop") || isDesktopShell(program))
        co_return std::nullopt;
    desktop::FrontWindow front;
    front.addIdentifier(program);
    if (*process <= quint32(std::numeric_limits<std::int32_t>::max()))
        front.processIdentifier = static_cast<std::int32_t>(*process);
    front.title = titleFrom(*name);
    co_return front;
}

/// The one window of all programs that says that it is active. Programs that do not answer have
/// none.
Told<AccessibleObject> activeWindow(Asker asker)
{
    const std::optional<Objects> told = co_await programsOnBus(asker);
    const Objects programs = told.value_or(Objects());
    const auto askWindows = [asker](const AccessibleObject& program) {
        return childrenOf(asker, program, kMostWindows);
    };
    const QList<std::optional<Objects>> lists = co_await askEach(programs, askWindows);
    Objects windows;
    for (const std::optional<Objects>& list : lists)
        windows += list.value_or(Objects());
    std::optional<AccessibleObject> active = co_await activeAmong(asker, windows);
    co_return active;
}

} // namespace

AccessibleFrontWindow::AccessibleFrontWindow(AccessibilityBus& bus)
    : m_bus(bus)
    , m_presence(presenceOf(bus))
{
    m_pace.setSingleShot(true);
    connect(&m_pace, &QTimer::timeout, this, &AccessibleFrontWindow::inquire);
    connect(&m_bus, &AccessibilityBus::changed, this, [this] {
        begin();
        const desktop::Presence presence = presenceOf(m_bus);
        if (presence == m_presence)
            return;
        m_presence = presence;
        Q_EMIT presenceChanged();
    });
    begin();
}

QString AccessibleFrontWindow::advice() const
{
    if (m_presence != desktop::Presence::Absent)
        return {};
    return QStringLiteral("Accessibility is off. Where the desktop tells nothing else of its "
                          "windows, switch it on in the desktop's settings and start programs "
                          "anew.");
}

void AccessibleFrontWindow::begin()
{
    follow(std::nullopt);
    m_search.reset();
    if (!m_bus.isOn())
        return;
    QDBusConnection bus = m_bus.connection();
    const QString any;
    for (const auto& [event, slot] : {std::pair("Activate", SLOT(activated(QDBusMessage))),
                                      std::pair("Deactivate", SLOT(deactivated(QDBusMessage)))})
        bus.connect(any, any, kWindowEvents, QLatin1StringView(event), this, slot);
    bus.connect(QStringLiteral("org.freedesktop.DBus"),
                QStringLiteral("/org/freedesktop/DBus"),
                QStringLiteral("org.freedesktop.DBus"),
                QStringLiteral("NameOwnerChanged"),
                this,
                SLOT(ownerChanged(QString, QString, QString)));
    listen();
    m_searchesLeft = kSearchesForNewcomer;
    search();
}

void AccessibleFrontWindow::listen()
{
    // Programs send only what somebody has asked the registry for. It belongs to the bus and is
    // started by whoever needs it first.
    for (const char* event : {"window:activate", "window:deactivate"}) {
        QDBusMessage message =
            QDBusMessage::createMethodCall(kRegistry,
                                           QStringLiteral("/org/a11y/atspi/registry"),
                                           kRegistry,
                                           QStringLiteral("RegisterEvent"));
        message.setArguments({QString::fromLatin1(event)});
        m_bus.connection().send(message);
    }
}

void AccessibleFrontWindow::activated(const QDBusMessage& event)
{
    const AccessibleObject window{.service = event.service(), .path = event.path()};
    m_search.reset();
    if (m_window != window)
        follow(window);
    else if (!m_front)
        inquireSoon();
}

void AccessibleFrontWindow::deactivated(const QDBusMessage& event)
{
    // It may come after another window has become active.
    if (m_window == AccessibleObject{.service = event.service(), .path = event.path()})
        follow(std::nullopt);
    if (m_search) {
        // What it has been told may no longer hold.
        m_search.reset();
        m_searchesLeft = std::max(m_searchesLeft, 1);
    }
}

void AccessibleFrontWindow::ownerChanged(const QString& name,
                                         const QString& before,
                                         const QString& now)
{
    if (name == kRegistry && !now.isEmpty())
        listen();
    if (before.isEmpty())
        m_searchesLeft = kSearchesForNewcomer;
    if (now.isEmpty() && m_window && m_window->service == name)
        follow(std::nullopt);
}

void AccessibleFrontWindow::follow(const std::optional<AccessibleObject>& window)
{
    m_window = window;
    m_front.reset();
    m_inquiry.reset();
    m_titleQuestion.reset();
    m_pace.stop();
    if (!m_window)
        return;
    ++m_number;
    inquireSoon();
}

void AccessibleFrontWindow::update()
{
    if (!m_bus.isOn())
        return;
    if (m_window) {
        if (m_inquiry || m_titleQuestion || !hasPassed(m_lastQuestion, kFreshness))
            return;
        if (m_front && !hasPassed(m_lastInquiry, kBetweenInquiries))
            askTitle(*m_window);
        else
            inquire();
    } else if (!m_search && m_searchesLeft > 0 && hasPassed(m_lastSearch, kFreshness)) {
        --m_searchesLeft;
        search();
    }
}

QCoro::Task<> AccessibleFrontWindow::search()
{
    m_lastSearch.start();
    m_search = newSearch();
    const Asker asker(m_bus, m_search);
    const std::optional<AccessibleObject> window = co_await activeWindow(asker);
    if (asker.isCancelled())
        co_return;
    m_search.reset();
    if (window)
        follow(window);
}

void AccessibleFrontWindow::inquireSoon()
{
    if (m_pace.isActive() || m_inquiry)
        return;
    if (hasPassed(m_lastInquiry, kPace))
        inquire();
    else
        m_pace.start(kPace);
}

QCoro::Task<> AccessibleFrontWindow::inquire()
{
    if (!m_window)
        co_return;
    m_titleQuestion.reset();
    m_lastInquiry.start();
    m_lastQuestion.start();
    m_inquiry = newSearch();
    const Asker asker(m_bus, m_inquiry);
    const std::optional<desktop::FrontWindow> front = co_await describe(asker, *m_window);
    if (asker.isCancelled())
        co_return;
    m_inquiry.reset();
    m_front = front;
    if (m_front)
        m_front->window = m_number;
    else
        qCDebug(lcAccessibility, "the active window is silent or no application's");
}

QCoro::Task<> AccessibleFrontWindow::askTitle(AccessibleObject window)
{
    m_lastQuestion.start();
    m_titleQuestion = newSearch();
    const Asker asker(m_bus, m_titleQuestion);
    const std::optional<QString> title = co_await nameOf(asker, window);
    if (asker.isCancelled())
        co_return;
    m_titleQuestion.reset();
    if (!title)
        inquire(); // it may have gone
    else if (m_front)
        m_front->title = titleFrom(*title);
}

} // namespace platform::atspi
