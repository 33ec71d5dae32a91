// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/login_window_lookup.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QWindow>

#include <algorithm>

namespace views {

namespace {

const QString kTitle = QStringLiteral("Login");
const QString kIdentifier = QStringLiteral("login");

} // namespace

QWindow* findLoginWindow(const QWindowList& windows)
{
    const auto found = std::ranges::find_if(windows, [](const QWindow* window) {
        return window->title() == kTitle || window->objectName().contains(kIdentifier);
    });
    return found == windows.end() ? nullptr : *found;
}

void focusLoginWindow()
{
    QWindow* const window = findLoginWindow(QGuiApplication::topLevelWindows());
    if (!window)
        return;
    window->raise();
    window->requestActivate();
    if (const auto* const quick = qobject_cast<QQuickWindow*>(window))
        quick->contentItem()->forceActiveFocus();
}

} // namespace views
