// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"
#include "backends/dbus/bus_name_owner.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QLoggingCategory>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariantList>

#include <chrono>
#include <coroutine>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

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
/// It goes on in any case: with the answer, with an error after a time, or with one when the bus
/// goes.
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
    void takeEnabled(bool isEnabled);
    void connectTo(const QString& address);
    Q_SLOT void lose();
    void drop();
    void tryLater();
    void finish(const std::shared_ptr<PendingAnswer::State>& question, const QDBusMessage& reply);

    QDBusConnection m_sessionBus;
    desktop::BusNameOwner m_owner;
    dbus::Question m_question; // to the owner of org.a11y.Bus
    bool m_shallLook = false;
    std::optional<QDBusConnection> m_bus;
    QObject* m_context = nullptr; // of the open questions over it; a child
    QList<std::shared_ptr<PendingAnswer::State>> m_open;
    bool m_isKnown = false;
    QTimer m_retry;
    std::chrono::milliseconds m_delay;
};

// What programs answer on the accessibility bus. Nothing is taken for granted: an answer of
// another type, an error, or one that is larger than anything sensible is no answer.
// Each question is on its way when the function returns, so several can be open at once; none
// throws. Main thread.

// Numbers of AtspiRole and AtspiRelationType.
inline constexpr quint32 kRoleDesktopFrame = 14;
inline constexpr quint32 kRoleDocumentWeb = 95;
inline constexpr quint32 kRelationEmbeds = 13;

inline const QString kAccessible = QStringLiteral("org.a11y.atspi.Accessible");
inline const QString kDocument = QStringLiteral("org.a11y.atspi.Document");

/// A cancellation token. Who begins a search keeps it; when it goes, the search asks nobody any
/// more and so comes to nothing by itself.
using SearchToken = std::shared_ptr<const bool>;

[[nodiscard]] inline SearchToken newSearch()
{
    return std::make_shared<const bool>();
}

/// Asks for a search while its token is there. Coroutines hold copies.
class Asker final
{
public:
    /// `bus` must outlive the token.
    Asker(AccessibilityBus& bus, const SearchToken& token)
        : m_bus(&bus)
        , m_token(token)
    {
    }

    /// Whether the token has gone, and with it perhaps who began the search.
    [[nodiscard]] bool isCancelled() const { return m_token.expired(); }

    /// As AccessibilityBus::call(); without an answer once it is cancelled.
    [[nodiscard]] PendingAnswer call(const AccessibleObject& object,
                                     const QString& interface,
                                     const QString& method,
                                     const QVariantList& arguments = {}) const;

private:
    AccessibilityBus* m_bus;
    std::weak_ptr<const bool> m_token;
};

using Attributes = QMap<QString, QString>;
using Objects = QList<AccessibleObject>;

/// What a program tells later; none when it does not, or not as it should.
template <typename Value> using Told = QCoro::Task<std::optional<Value>>;

/// The program on the bus that `service` belongs to, as an object: its children are its windows.
[[nodiscard]] AccessibleObject rootOf(const QString& service);

/// The programs that take part; none when there are more than some hundreds.
[[nodiscard]] Told<Objects> programsOnBus(const Asker& asker);

/// All names on the bus.
[[nodiscard]] QCoro::Task<QStringList> namesOnBus(const Asker& asker);

/// The process that `service` belongs to.
[[nodiscard]] Told<quint32> processOf(const Asker& asker, const QString& service);

/// Its children, none when there are more than `most`.
[[nodiscard]] Told<Objects>
childrenOf(const Asker& asker, const AccessibleObject& object, qsizetype most);

[[nodiscard]] Told<QString> nameOf(const Asker& asker, const AccessibleObject& object);

[[nodiscard]] Told<quint32> roleOf(const Asker& asker, const AccessibleObject& object);

/// The one of `windows` that says that it is active; none when none or several do.
[[nodiscard]] Told<AccessibleObject> activeAmong(Asker asker, Objects windows);

/// What it says of itself, or as a document.
[[nodiscard]] Told<Attributes> attributesOf(const Asker& asker,
                                            const AccessibleObject& object,
                                            const QString& interface = kAccessible);

/// The objects that it has the relation `kind` to.
[[nodiscard]] Told<Objects>
relatedTo(const Asker& asker, const AccessibleObject& object, quint32 kind);

/// The objects of `service` that are directly below one of `parent`'s, by what it keeps for quick
/// readers; none when that is about more than `most` objects.
[[nodiscard]] QCoro::Task<Objects>
objectsBelow(const Asker& asker, const QString& service, const QString& parent, qsizetype most);

/// What the tasks that `begin` begins for each of `items` come to, in their order. Some run at the
/// same time, so that one who is silent delays few. `begin` has to have a name: GCC 12 destroys a
/// lambda that is made in an expression with co_await twice.
template <typename Item, typename Begin>
[[nodiscard]] auto askEach(QList<Item> items, Begin begin)
    -> QCoro::Task<QList<typename std::invoke_result_t<Begin, const Item&>::value_type>>
{
    constexpr std::size_t kAtOnce = 16;
    using Task = std::invoke_result_t<Begin, const Item&>;
    QList<typename Task::value_type> results;
    std::deque<Task> open;
    for (qsizetype next = 0; next < items.size() || !open.empty();) {
        if (next < items.size() && open.size() < kAtOnce) {
            open.push_back(begin(items.at(next)));
            ++next;
            continue;
        }
        Task first = std::move(open.front());
        open.pop_front();
        typename Task::value_type result = co_await first;
        results.append(std::move(result));
    }
    co_return results;
}

} // namespace platform::atspi
