// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/qml_window.h"

#include "platform/app_activation.h"
#include "views/window_view.h"

#include <utility>

namespace views {

QmlWindow::QmlWindow(WindowView* view,
                     platform::AppActivation& activation,
                     std::function<void()> closed)
    : m_view(view)
    , m_activation(activation)
{
    connect(view, &WindowView::closed, this, std::move(closed), Qt::QueuedConnection);
}

QmlWindow::~QmlWindow()
{
    if (!m_view)
        return;
    m_view->disconnect(this);
    m_view->close();
    m_view->deleteLater();
}

void QmlWindow::present()
{
    if (m_view->visibility() == QWindow::Minimized)
        m_view->showNormal();
    else
        m_view->show();
    m_activation.windowAskedFor(*m_view);
}

bool QmlWindow::isVisible() const
{
    return m_view->isVisible() && m_view->visibility() != QWindow::Minimized;
}

bool QmlWindow::isInUse() const
{
    return m_view->isInUse();
}

} // namespace views
