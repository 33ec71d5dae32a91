// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/front_window_watch.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"
#include "platform/linux/atspi/active_window_search.h"
#include "platform/linux/atspi/window_inquiry.h"

#include <QDBusConnection>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <utility>

namespace platform::atspi {

namespace {

constexpr std::chrono::milliseconds kPace{50};
// Less than the second between two calls, one of which may come early.
constexpr std::chrono::milliseconds kFreshness{900};
constexpr std::chrono::milliseconds kBetweenInquiries = std::chrono::seconds(10);
// A program that starts may not know yet that somebody listens when its window gets the focus.
constexpr int kSearchesForNewcomer = 10;

const QString kRegistry = QStringLiteral("org.a11y.atspi.Registry");
const QString kWindowEvents = QStringLiteral("org.a11y.atspi.Event.Window");

QStringList eventNames()
{
    return {QStringLiteral("window:activate"), QStringLiteral("window:deactivate")};
}

bool hasPassed(const QElapsedTimer& since, std::chrono::milliseconds time)
{
    return !since.isValid() || since.hasExpired(time.count());
}

} // namespace

FrontWindowWatch::FrontWindowWatch(AccessibilityBus& bus)
    : m_bus(bus)
{
    m_pace.setSingleShot(true);
    connect(&m_pace, &QTimer::timeout, this, &FrontWindowWatch::inquire);
    connect(&m_bus, &AccessibilityBus::changed, this, &FrontWindowWatch::begin);
    begin();
}

FrontWindowWatch::~FrontWindowWatch() = default;

void FrontWindowWatch::begin()
{
    follow(std::nullopt);
    m_search.reset();
    m_searchesLeft = 0;
    if (!m_bus.isOn())
        return;
    QDBusConnection bus = m_bus.connection();
    const QString any;
    bus.connect(
        any, any, kWindowEvents, QStringLiteral("Activate"), this, SLOT(activated(QDBusMessage)));
    bus.connect(any,
                any,
                kWindowEvents,
                QStringLiteral("Deactivate"),
                this,
                SLOT(deactivated(QDBusMessage)));
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

void FrontWindowWatch::listen()
{
    // Programs send only what somebody has asked the registry for. It belongs to the bus and is
    // started by whoever needs it first.
    for (const QString& event : eventNames()) {
        QDBusMessage message =
            QDBusMessage::createMethodCall(kRegistry,
                                           QStringLiteral("/org/a11y/atspi/registry"),
                                           kRegistry,
                                           QStringLiteral("RegisterEvent"));
        message.setArguments({event});
        m_bus.connection().send(message);
    }
}

void FrontWindowWatch::activated(const QDBusMessage& event)
{
    const AccessibleObject window{.service = event.service(), .path = event.path()};
    m_search.reset();
    if (m_window != window)
        follow(window);
    else if (!m_front)
        inquireSoon();
}

void FrontWindowWatch::deactivated(const QDBusMessage& event)
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

void FrontWindowWatch::ownerChanged(const QString& name, const QString& before, const QString& now)
{
    if (name == kRegistry && !now.isEmpty())
        listen();
    if (before.isEmpty())
        m_searchesLeft = kSearchesForNewcomer;
    if (now.isEmpty() && m_window && m_window->service == name)
        follow(std::nullopt);
}

void FrontWindowWatch::follow(const std::optional<AccessibleObject>& window)
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

void FrontWindowWatch::refresh()
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

void FrontWindowWatch::search()
{
    m_lastSearch.start();
    m_search = std::make_unique<ActiveWindowSearch>(m_bus);
    connect(m_search.get(),
            &ActiveWindowSearch::finished,
            this,
            [this](const std::optional<AccessibleObject>& window) {
                m_search.release()->deleteLater(); // it is what calls
                if (window)
                    follow(window);
            });
    m_search->start();
}

void FrontWindowWatch::inquireSoon()
{
    if (m_pace.isActive() || m_inquiry)
        return;
    if (hasPassed(m_lastInquiry, kPace))
        inquire();
    else
        m_pace.start(kPace);
}

void FrontWindowWatch::inquire()
{
    if (!m_window)
        return;
    m_titleQuestion.reset();
    m_lastInquiry.start();
    m_lastQuestion.start();
    m_inquiry = std::make_unique<WindowInquiry>(m_bus, *m_window);
    connect(m_inquiry.get(),
            &WindowInquiry::finished,
            this,
            [this](const std::optional<desktop::FrontWindow>& window) {
                m_inquiry.release()->deleteLater(); // it is what calls
                m_front = window;
                if (m_front)
                    m_front->window = m_number;
            });
    m_inquiry->start();
}

void FrontWindowWatch::askTitle(const AccessibleObject& window)
{
    m_lastQuestion.start();
    auto asker = std::make_unique<QObject>();
    const bool isAsked = m_bus.getText(
        window, QStringLiteral("Name"), asker.get(), [this](const QDBusMessage& reply) {
            m_titleQuestion.reset();
            const std::optional<QString> title = textPropertyIn(reply);
            if (!title)
                inquire(); // it may have gone
            else if (m_front)
                m_front->title =
                    title->isEmpty() ? std::nullopt : std::optional(cutToBytes(*title));
        });
    if (isAsked)
        m_titleQuestion = std::move(asker);
}

} // namespace platform::atspi
