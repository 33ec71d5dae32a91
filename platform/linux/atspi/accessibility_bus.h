// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessibility_status.h"
#include "platform/linux/atspi/accessible_object.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace platform::atspi {

/// The accessibility bus, while accessibility is switched on for the session. Nothing here switches
/// it on or starts it.
/// Main thread, with an event loop. Waits for nobody but, when it connects, a bus that accepts
/// connections and says nothing: a fifth of a second, at intervals that double up to half a minute.
class AccessibilityBus final : public QObject
{
    Q_OBJECT

public:
    /// How long a program has to answer.
    static constexpr std::chrono::milliseconds kLimit{200};
    /// How many questions may be open at once.
    static constexpr int kMostCalls = 64;

    using Answer = std::function<void(const QDBusMessage&)>;

    explicit AccessibilityBus(const QDBusConnection& sessionBus);
    AccessibilityBus(const AccessibilityBus&) = delete;
    AccessibilityBus& operator=(const AccessibilityBus&) = delete;
    ~AccessibilityBus() override;

    /// Whether programs can be asked now.
    [[nodiscard]] bool isOn() const { return m_bus.has_value(); }

    /// Whether it is not known yet if accessibility is on.
    [[nodiscard]] bool isAsking() const;

    /// Asks `object`. `answer` is called later, with an error when nothing has come within kLimit;
    /// never when `asker` has gone or the connection has. False, and it is never called, when the
    /// bus is off or too many questions are open.
    [[nodiscard]] bool call(const AccessibleObject& object,
                            const QString& interface,
                            const QString& method,
                            const QVariantList& arguments,
                            const QObject* asker,
                            Answer answer);

    /// The same for the text property `property` of org.a11y.atspi.Accessible.
    [[nodiscard]] bool getText(const AccessibleObject& object,
                               const QString& property,
                               const QObject* asker,
                               Answer answer);

    /// The same for a method of org.a11y.atspi.Accessible without arguments.
    [[nodiscard]] bool
    ask(const AccessibleObject& object, const QString& method, const QObject* asker, Answer answer);

    /// The same for the programs that take part.
    [[nodiscard]] bool askForPrograms(const QObject* asker, Answer answer);

    /// The same for the process that `service` belongs to.
    [[nodiscard]] bool
    askProcess(const QString& service, const QObject* asker, const Answer& answer);

    /// The connection while isOn(), for signals.
    [[nodiscard]] QDBusConnection connection() const;

Q_SIGNALS:
    /// It went on or off, or another bus took its place; or it is known now that it is off.
    /// Questions that were open have no answer then.
    void changed();

private:
    void follow();
    void askAddress();
    void connectTo(const QString& address);
    Q_SLOT void lose();
    void drop();
    void tryLater();

    AccessibilityStatus m_status;
    QDBusConnection m_sessionBus;
    std::optional<QDBusConnection> m_bus;
    /// Owns what belongs to the present connection: the questions that are open.
    std::unique_ptr<QObject> m_calls;
    /// Owns the question for the address.
    std::unique_ptr<QObject> m_address;
    int m_open = 0;
    QTimer m_retry;
    std::chrono::milliseconds m_delay;
};

} // namespace platform::atspi
