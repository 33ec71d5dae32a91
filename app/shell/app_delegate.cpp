// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/shell/app_delegate.h"

#include "account/auth_service.h"
#include "app/shell/service_startup.h"
#include "platform/app_activation.h"
#include "platform/build_config.h"
#include "platform/main_queue.h"
#include "platform/url_opener.h"

namespace shell {

namespace {

const QString kLoginUrl = QString::fromLatin1(platform::kUrlPrefix) + QStringLiteral("//login");
const QString kDashboardUrl =
    QString::fromLatin1(platform::kUrlPrefix) + QStringLiteral("//dashboard");

} // namespace

AppDelegate::AppDelegate(const Dependencies& dependencies)
    : m_to(dependencies)
{
}

void AppDelegate::applicationDidFinishLaunching()
{
    m_to.mainQueue.asyncAfter(kTimeUntilTheFirstWindow, [this] {
        if (m_to.authService.isSessionKnown())
            finishLaunching();
        else
            connect(&m_to.authService,
                    &account::AuthService::sessionBecameKnown,
                    this,
                    &AppDelegate::finishLaunching);
    });
}

void AppDelegate::finishLaunching()
{
    openInitialWindow();
    Q_EMIT launched();
}

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows)
{
    if (!hasVisibleWindows)
        openInitialWindow();
    return true;
}

void AppDelegate::openInitialWindow()
{
    if (m_to.authService.isAuthenticated()) {
        startServices(m_to.syncService, m_to.trackingEngine);
        m_to.urlOpener.open(kDashboardUrl);
    } else {
        m_to.urlOpener.open(kLoginUrl);
    }
    m_to.activation.activateIgnoringOtherApps();
}

} // namespace shell
