// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/login_view_wrapper.h"

#include "app/shell/scenes.h"
#include "app/shell/service_startup.h"
#include "app/shell/window_router.h"
#include "platform/app_activation.h"
#include "platform/main_queue.h"

#include <chrono>

namespace views {

namespace {

constexpr std::chrono::milliseconds kUntilTheDashboard(200);

} // namespace

void LoginViewWrapper::loginSucceeded() const
{
    m_to.setIsShowingLogin(false);
    // The form has done so, too; the interval of the uploads begins here.
    shell::startServices(m_to.syncService, m_to.trackingEngine);
    m_to.windows.dismissWindow(shell::kLoginWindow);
    m_to.mainQueue.asyncAfter(kUntilTheDashboard,
                              [&windows = m_to.windows, &activation = m_to.activation] {
                                  windows.openWindow(shell::kDashboardWindow);
                                  activation.activateIgnoringOtherApps();
                              });
}

} // namespace views
