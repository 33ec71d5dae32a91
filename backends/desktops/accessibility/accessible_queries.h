// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/accessibility/accessibility_bus.h"

#include <QCoroTask>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <type_traits>

/// What programs answer on the accessibility bus. Nothing is taken for granted: an answer of
/// another type, an error, or one that is larger than anything sensible is no answer.
/// Each question is on its way when the function returns, so several can be open at once; none
/// throws. Main thread.
namespace platform::atspi {

// Numbers of AtspiRole and AtspiRelationType.
inline constexpr quint32 kRoleDesktopFrame = 14;
inline constexpr quint32 kRoleDocumentWeb = 95;
inline constexpr quint32 kRelationEmbeds = 13;

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

/// Whether it says that it is active.
[[nodiscard]] QCoro::Task<bool> isActive(const Asker& asker, const AccessibleObject& object);

[[nodiscard]] Told<Attributes> attributesOf(const Asker& asker, const AccessibleObject& object);

/// What it says as a document.
[[nodiscard]] Told<Attributes> documentAttributesOf(const Asker& asker,
                                                    const AccessibleObject& object);

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
