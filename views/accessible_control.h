// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QAccessibleObject>
#include <QObject>
#include <QQuickItem>

namespace views {

/// What assistive programs are told about a button, a link or a field for a secret, where Qt 6.4
/// falls short: it does not say that a button is disabled, takes a link for one, and hands out the
/// text of password fields.
/// Main thread.
class AccessibleControl final : public QAccessibleObject, public QAccessibleActionInterface
{
public:
    /// `role` is Button, Link or EditableText; the latter has no text for anybody.
    AccessibleControl(QQuickItem* item, QAccessible::Role role);

    /// Has the controls of windows to come described by this class.
    static void install();

    [[nodiscard]] QAccessibleInterface* parent() const override;
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int childCount() const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QString text(QAccessible::Text kind) const override;
    [[nodiscard]] QRect rect() const override;
    [[nodiscard]] QAccessible::Role role() const override;
    [[nodiscard]] QAccessible::State state() const override;
    [[nodiscard]] QWindow* window() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    [[nodiscard]] QStringList actionNames() const override;
    void doAction(const QString& name) override;
    [[nodiscard]] QStringList keyBindingsForAction(const QString& name) const override;

private:
    [[nodiscard]] QQuickItem* item() const;

    QAccessible::Role m_role;
};

/// Takes back what assistive programs were told about a text field before it became one for a
/// secret: while one of them runs, Qt describes a field before all of its properties are set, and
/// keeps the description. Owned by the field.
/// Main thread.
class SecretFieldWatch final : public QObject
{
    Q_OBJECT

public:
    explicit SecretFieldWatch(QQuickItem* field);

private Q_SLOTS:
    void describeAnew();
};

} // namespace views
