// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>

namespace support {

/// A test's own scripts in KWin, over a connection of the test's own.
/// Main thread. Calls block for some seconds at most.
class KWinScripts final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.example.KWinScripts")

public:
    /// Scripts are written to `folder`.
    explicit KWinScripts(QString folder);
    KWinScripts(const KWinScripts&) = delete;
    KWinScripts& operator=(const KWinScripts&) = delete;
    ~KWinScripts() override;

    /// Connects to the bus at `address`.
    [[nodiscard]] platform::Outcome connectTo(const QString& address);

    [[nodiscard]] QDBusConnection& bus() { return m_bus; }

    /// Asks KWin's object at `path`.
    [[nodiscard]] QDBusMessage ask(const QString& path,
                                   const QString& interface,
                                   const QString& method,
                                   const QVariantList& arguments = {});

    /// Has KWin run `text`, in which say(TEXT) answers, and forget it when the first answer is
    /// there; that answer. Null when none comes.
    [[nodiscard]] QString run(const QString& text);

    /// Loads `text` under `name` and runs it; it stays.
    [[nodiscard]] platform::Outcome load(const QString& text, const QString& name);

    [[nodiscard]] bool isLoaded(const QString& name);

    /// Whether there was a script of that name.
    bool unload(const QString& name);

    /// What scripts say.
    Q_SLOT void say(const QString& text) { m_said.append(text); }

private:
    QString m_folder;
    QString m_connectionName;
    QDBusConnection m_bus;
    QStringList m_said;
    int m_count = 0;
};

} // namespace support
