// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/accessible_control.h"

#include <QAccessibleObject>
#include <QObject>
#include <QQmlContext>
#include <QQmlProperty>
#include <QQuickItem>
#include <QQuickWindow>

namespace views {

namespace {

/// Of TextInput.Normal, the echo mode of fields that show what is typed.
constexpr int kShowsText = 0;

/// What assistive programs are told about a button, a link or a field for a secret, where Qt 6.4
/// falls short: it does not say that a button is disabled, takes a link for one, and hands out the
/// text of password fields.
/// Main thread.
class AccessibleControl final : public QAccessibleObject, public QAccessibleActionInterface
{
public:
    /// `role` is Button, Link or EditableText; the latter has no text for anybody.
    AccessibleControl(QQuickItem* item, QAccessible::Role role)
        : QAccessibleObject(item)
        , m_role(role)
    {
    }

    [[nodiscard]] QAccessibleInterface* parent() const override
    {
        for (QQuickItem* above = item()->parentItem(); above; above = above->parentItem()) {
            QAccessibleInterface* const found = QAccessible::queryAccessibleInterface(above);
            if (found && found->role() != QAccessible::NoRole)
                return found;
        }
        return QAccessible::queryAccessibleInterface(item()->window());
    }

    [[nodiscard]] QAccessibleInterface* child(int /*index*/) const override { return nullptr; }

    [[nodiscard]] int childCount() const override { return 0; }

    int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        if (kind != QAccessible::Name)
            return {};
        const QString name =
            QQmlProperty::read(item(), QStringLiteral("Accessible.name"), qmlContext(item()))
                .toString();
        // While an assistive program runs, the name attached to a field for a secret reads as
        // empty.
        return name.isEmpty() ? item()->property("placeholderText").toString() : name;
    }

    [[nodiscard]] QRect rect() const override
    {
        if (!item()->window())
            return {};
        const QRectF inScene = item()->mapRectToScene(QRectF(QPointF(), item()->size()));
        return inScene.toRect().translated(item()->window()->mapToGlobal(QPoint()));
    }

    [[nodiscard]] QAccessible::Role role() const override { return m_role; }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        state.disabled = !item()->isEnabled();
        state.invisible =
            !item()->isVisible() || !item()->window() || !item()->window()->isVisible();
        state.focusable = item()->isEnabled();
        state.focused = item()->hasActiveFocus();
        if (m_role == QAccessible::EditableText) {
            state.editable = true;
            state.passwordEdit = true;
        } else {
            state.pressed = item()->property("down").toBool();
            state.linked = m_role == QAccessible::Link;
        }
        return state;
    }

    [[nodiscard]] QWindow* window() const override { return item()->window(); }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }

    [[nodiscard]] QStringList actionNames() const override
    {
        if (!item()->isEnabled())
            return {};
        if (m_role != QAccessible::EditableText)
            return {pressAction(), setFocusAction()};
        return {setFocusAction()};
    }

    void doAction(const QString& name) override
    {
        if (!actionNames().contains(name))
            return;
        if (name == setFocusAction())
            item()->forceActiveFocus();
        else
            QMetaObject::invokeMethod(item(), "clicked");
    }

    [[nodiscard]] QStringList keyBindingsForAction(const QString& /*name*/) const override
    {
        return {};
    }

private:
    [[nodiscard]] QQuickItem* item() const { return qobject_cast<QQuickItem*>(object()); }

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
    explicit SecretFieldWatch(QQuickItem* field)
        : QObject(field)
    {
        const QQmlProperty echoMode(field, QStringLiteral("echoMode"));
        echoMode.connectNotifySignal(this, SLOT(describeAnew()));
    }

private Q_SLOTS:

    void describeAnew()
    {
        // The next one to ask has it made again, by what the field is then, and with a new watch.
        QAccessibleInterface* const outdated = QAccessible::queryAccessibleInterface(parent());
        if (outdated)
            QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(outdated));
        deleteLater();
    }
};

QAccessibleInterface* make(const QString& className, QObject* object)
{
    // Qt goes up from the most special class, and asks the factory that came last first.
    auto* const item = qobject_cast<QQuickItem*>(object);
    if (!item)
        return nullptr;
    if (className == QLatin1StringView("QQuickButton"))
        return new AccessibleControl(item, QAccessible::Button);
    if (className == QLatin1StringView("QQuickAbstractButton") && !item->inherits("QQuickSwitch"))
        return new AccessibleControl(item, QAccessible::Link);
    if (className == QLatin1StringView("QQuickTextField")) {
        if (item->property("echoMode").toInt() != kShowsText)
            return new AccessibleControl(item, QAccessible::EditableText);
        new SecretFieldWatch(item);
    }
    return nullptr;
}

} // namespace

void describeControls()
{
    QAccessible::installFactory(make);
}

} // namespace views

#include "accessible_control.moc"
