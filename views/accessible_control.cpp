// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/accessible_control.h"

#include <QQmlContext>
#include <QQmlProperty>
#include <QQuickWindow>

namespace views {

namespace {

/// Of TextInput.Normal, the echo mode of fields that show what is typed.
constexpr int kShowsText = 0;

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

SecretFieldWatch::SecretFieldWatch(QQuickItem* field)
    : QObject(field)
{
    const QQmlProperty echoMode(field, QStringLiteral("echoMode"));
    echoMode.connectNotifySignal(this, SLOT(describeAnew()));
}

void SecretFieldWatch::describeAnew()
{
    // The next one to ask has it made again, by what the field is then, and with a new watch.
    QAccessibleInterface* const outdated = QAccessible::queryAccessibleInterface(parent());
    if (outdated)
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(outdated));
    deleteLater();
}

AccessibleControl::AccessibleControl(QQuickItem* item, QAccessible::Role role)
    : QAccessibleObject(item)
    , m_role(role)
{
}

void AccessibleControl::install()
{
    QAccessible::installFactory(make);
}

QQuickItem* AccessibleControl::item() const
{
    return qobject_cast<QQuickItem*>(object());
}

QAccessibleInterface* AccessibleControl::parent() const
{
    for (QQuickItem* above = item()->parentItem(); above; above = above->parentItem()) {
        QAccessibleInterface* const found = QAccessible::queryAccessibleInterface(above);
        if (found && found->role() != QAccessible::NoRole)
            return found;
    }
    return QAccessible::queryAccessibleInterface(item()->window());
}

QAccessibleInterface* AccessibleControl::child(int /*index*/) const
{
    return nullptr;
}

int AccessibleControl::childCount() const
{
    return 0;
}

int AccessibleControl::indexOfChild(const QAccessibleInterface* /*child*/) const
{
    return -1;
}

QString AccessibleControl::text(QAccessible::Text kind) const
{
    if (kind != QAccessible::Name)
        return {};
    const QString name =
        QQmlProperty::read(item(), QStringLiteral("Accessible.name"), qmlContext(item()))
            .toString();
    // While an assistive program runs, the name attached to a field for a secret reads as empty.
    return name.isEmpty() ? item()->property("placeholderText").toString() : name;
}

QRect AccessibleControl::rect() const
{
    if (!item()->window())
        return {};
    const QRectF inScene = item()->mapRectToScene(QRectF(QPointF(), item()->size()));
    return inScene.toRect().translated(item()->window()->mapToGlobal(QPoint()));
}

QAccessible::Role AccessibleControl::role() const
{
    return m_role;
}

QAccessible::State AccessibleControl::state() const
{
    QAccessible::State state;
    state.disabled = !item()->isEnabled();
    state.invisible = !item()->isVisible() || !item()->window() || !item()->window()->isVisible();
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

QWindow* AccessibleControl::window() const
{
    return item()->window();
}

void* AccessibleControl::interface_cast(QAccessible::InterfaceType type)
{
    return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                : nullptr;
}

QStringList AccessibleControl::actionNames() const
{
    if (!item()->isEnabled())
        return {};
    if (m_role != QAccessible::EditableText)
        return {pressAction(), setFocusAction()};
    return {setFocusAction()};
}

void AccessibleControl::doAction(const QString& name)
{
    if (!actionNames().contains(name))
        return;
    if (name == setFocusAction())
        item()->forceActiveFocus();
    else
        QMetaObject::invokeMethod(item(), "clicked");
}

QStringList AccessibleControl::keyBindingsForAction(const QString& /*name*/) const
{
    return {};
}

} // namespace views
