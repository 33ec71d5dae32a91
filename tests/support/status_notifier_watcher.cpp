// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/status_notifier_watcher.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QTest>

#include <utility>

namespace support {

namespace {
constexpr int kPatienceMs = 20000; // on a loaded machine
} // namespace

/// What is on the bus.
class WatcherObject final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    explicit WatcherObject(bool hasHost)
        : m_hasHost(hasHost)
    {
    }

    bool enter(const QString& address)
    {
        static int count = 0;
        m_name = QStringLiteral("watcher%1").arg(++count);
        QDBusConnection bus = QDBusConnection::connectToBus(address, m_name);
        return bus.registerObject(QStringLiteral("/StatusNotifierWatcher"),
                                  this,
                                  QDBusConnection::ExportAllContents) &&
               bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    }

    void leave() { QDBusConnection::disconnectFromBus(m_name); }

    void addHost()
    {
        m_hasHost = true;
        Q_EMIT StatusNotifierHostRegistered();
    }

    [[nodiscard]] bool hasHost() const { return m_hasHost; }

    [[nodiscard]] int protocolVersion() const { return 0; }

    [[nodiscard]] QStringList items() const { return m_items; }

public Q_SLOTS:

    void RegisterStatusNotifierItem(const QString& service)
    {
        // Some give their name, some only the object's path.
        m_items.append(service.startsWith(u'/') ? message().service() : service);
        Q_EMIT StatusNotifierItemRegistered(service);
    }

    void RegisterStatusNotifierHost(const QString&) { addHost(); }

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString& service);
    void StatusNotifierHostRegistered();

private:
    QString m_name;
    bool m_hasHost;
    QStringList m_items;
};

namespace {

template <typename Action> auto in(WatcherObject& object, Action action)
{
    decltype(action()) result{};
    QMetaObject::invokeMethod(&object, [&] { result = action(); }, Qt::BlockingQueuedConnection);
    return result;
}

} // namespace

StatusNotifierWatcher::StatusNotifierWatcher(const QString& address, bool hasHost)
    : m_object(std::make_unique<WatcherObject>(hasHost))
{
    m_object->moveToThread(&m_thread);
    m_thread.start();
    m_isThere = in(*m_object, [&] { return m_object->enter(address); });
}

StatusNotifierWatcher::~StatusNotifierWatcher()
{
    // Ends where it lives. Its connection ends first: nothing more is called.
    in(*m_object, [this] {
        m_object->leave();
        m_object.release()->deleteLater();
        return true;
    });
    m_thread.quit();
    m_thread.wait();
}

void StatusNotifierWatcher::addHost()
{
    in(*m_object, [this] {
        m_object->addHost();
        return true;
    });
}

QStringList StatusNotifierWatcher::items() const
{
    return in(*m_object, [this] { return m_object->items(); });
}

QString StatusNotifierWatcher::waitForItem() const
{
    QStringList found;
    const bool came = QTest::qWaitFor(
        [&] {
            found = items();
            return !found.isEmpty();
        },
        kPatienceMs);
    return came ? found.first() : QString();
}

} // namespace support

#include "status_notifier_watcher.moc"
