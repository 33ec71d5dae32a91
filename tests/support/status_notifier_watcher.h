// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QThread>

#include <memory>

namespace support {

class WatcherObject;

/// A StatusNotifierWatcher on a bus, without a panel. It answers on a thread of its own, so that a
/// test may wait for an item that waits for the watcher.
/// Main thread. Calls block until the watcher has done what they say.
class StatusNotifierWatcher final
{
public:
    /// Takes the watcher's name on the bus at `address`.
    StatusNotifierWatcher(const QString& address, bool hasHost);
    StatusNotifierWatcher(const StatusNotifierWatcher&) = delete;
    StatusNotifierWatcher& operator=(const StatusNotifierWatcher&) = delete;
    /// Leaves the bus without a word, as a killed one.
    ~StatusNotifierWatcher();

    /// Whether it has the name.
    [[nodiscard]] bool isThere() const { return m_isThere; }

    /// Says that there is a host from now on.
    void addHost();

    /// The bus names of the items that have registered, in their order.
    [[nodiscard]] QStringList items() const;

    /// Waits for the first item; its bus name, empty when none comes.
    [[nodiscard]] QString waitForItem() const;

private:
    QThread m_thread;
    std::unique_ptr<WatcherObject> m_object; // lives in m_thread
    bool m_isThere = false;
};

} // namespace support
