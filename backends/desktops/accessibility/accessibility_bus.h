// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QHash>
#include <QLoggingCategory>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantList>

#include <chrono>
#include <coroutine>
#include <memory>
#include <optional>
#include <utility>

class QDBusPendingCallWatcher;

namespace platform::atspi {

/// For developers; off by default. Never a title, an address or the name of a program.
Q_DECLARE_LOGGING_CATEGORY(lcAccessibility)

/// An object of a program on the accessibility bus: the program itself, a window, a page.
struct AccessibleObject
{
    QString service; ///< the program's unique name on the bus
    QString path;

    bool operator==(const AccessibleObject&) const = default;
};

/// The answer to a question that is on its way already: `co_await` waits for it. One coroutine may.
class PendingAnswer final
{
public:
    struct State
    {
        std::optional<QDBusMessage> reply;
        std::coroutine_handle<> waiting;
    };

    explicit PendingAnswer(std::shared_ptr<State> state)
        : m_state(std::move(state))
    {
    }

    /// To a question that nobody is asked.
    [[nodiscard]] static PendingAnswer none();

    [[nodiscard]] bool await_ready() const noexcept { return m_state->reply.has_value(); }

    void await_suspend(std::coroutine_handle<> waiting) const noexcept
    {
        m_state->waiting = waiting;
    }

    [[nodiscard]] QDBusMessage await_resume() const;

private:
    std::shared_ptr<State> m_state;
};

/// The questions over one connection that are open. Whoever waits for one goes on in any case: with
/// the answer, with an error after a time, or with one when all are given up.
/// Main thread.
class OpenQuestions final : public QObject
{
public:
    OpenQuestions() = default;
    OpenQuestions(const OpenQuestions&) = delete;
    OpenQuestions& operator=(const OpenQuestions&) = delete;

    ~OpenQuestions() override { giveUp(); }

    [[nodiscard]] PendingAnswer
    send(const QDBusConnection& to, QDBusMessage question, std::chrono::milliseconds limit);

    /// Who waits goes on before this returns.
    void giveUp();

    [[nodiscard]] qsizetype count() const { return m_open.size(); }

private:
    void finish(QDBusPendingCallWatcher* watcher, const QDBusMessage& reply);

    QHash<QDBusPendingCallWatcher*, std::shared_ptr<PendingAnswer::State>> m_open;
};

/// The accessibility bus, while accessibility is switched on for the session: IsEnabled of
/// org.a11y.Status, which the owner of org.a11y.Bus tells. Nothing here switches it on or starts
/// it. Main thread, with an event loop. Waits for nobody but, when it connects, a bus that accepts
/// connections and says nothing: a fifth of a second, at intervals that double up to half a minute.
class AccessibilityBus final : public QObject
{
    Q_OBJECT

public:
    /// How long a program has to answer.
    static constexpr std::chrono::milliseconds kLimit{200};
    /// How many questions may be open at once.
    static constexpr int kMostCalls = 64;

    /// Without a connection accessibility is off.
    explicit AccessibilityBus(QDBusConnection sessionBus);
    AccessibilityBus(const AccessibilityBus&) = delete;
    AccessibilityBus& operator=(const AccessibilityBus&) = delete;
    ~AccessibilityBus() override;

    /// Whether programs can be asked now.
    [[nodiscard]] bool isOn() const { return m_bus.has_value(); }

    /// Whether it is not known yet if accessibility is on.
    [[nodiscard]] bool isAsking() const { return !isOn() && !m_isKnown; }

    /// Asks `object`. The answer is an error when none has come within kLimit or the connection
    /// goes; at once, without a question, when the bus is off or too many questions are open.
    [[nodiscard]] PendingAnswer call(const AccessibleObject& object,
                                     const QString& interface,
                                     const QString& method,
                                     const QVariantList& arguments);

    /// The connection while isOn(), for signals.
    [[nodiscard]] QDBusConnection connection() const;

Q_SIGNALS:
    /// It went on or off, or another bus took its place; or it is known now that it is off.
    void changed();

private:
    Q_SLOT void look();
    QCoro::Task<> follow();
    void connectTo(const QString& address);
    Q_SLOT void lose();
    void drop();
    void tryLater();

    QDBusConnection m_sessionBus;
    QDBusServiceWatcher m_owner;
    OpenQuestions m_sessionQuestions;
    std::optional<QDBusConnection> m_bus;
    OpenQuestions m_questions;
    /// Goes with this: the token by which follow() knows.
    std::shared_ptr<const bool> m_isThere = std::make_shared<const bool>();
    bool m_isKnown = false;
    bool m_isFollowing = false;
    bool m_shallLook = false;
    QTimer m_retry;
    std::chrono::milliseconds m_delay;
};

} // namespace platform::atspi
