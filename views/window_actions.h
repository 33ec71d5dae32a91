// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QStringList>

namespace shell {
class AppMenu;
}

namespace views {

/// What the keyboard does in every window. Main thread; the menu must outlive it.
class WindowActions final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QList<QString> shortcuts READ shortcuts CONSTANT FINAL)

public:
    explicit WindowActions(shell::AppMenu& menu, QObject* parent = nullptr);

    /// The shortcuts of the menu: "Ctrl+D".
    [[nodiscard]] static QStringList shortcuts();

    /// Does what the row of the menu with this shortcut does, if there is one now.
    Q_INVOKABLE void choose(const QString& shortcut);

    Q_INVOKABLE void close();

Q_SIGNALS:
    /// The window is to be closed.
    void closeRequested();

private:
    shell::AppMenu& m_menu;
};

} // namespace views
