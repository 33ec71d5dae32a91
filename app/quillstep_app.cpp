// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/quillstep_app.h"

#include "account/auth_service.h"
#include "app/command_line.h"
#include "app/shell/scenes.h"
#include "app/shell/service_startup.h"
#include "app/shell/url_route.h"
#include "platform/app_activation.h"
#include "platform/application_requests.h"
#include "platform/main_queue.h"
#include "platform/status_item.h"

namespace app {

using account::AuthService;
using platform::ActivationToken;
using platform::ApplicationRequests;

QuillstepApp::QuillstepApp(const Dependencies& dependencies)
    : m_to(dependencies)
    , m_appDelegate({
          .authService = m_to.authService,
          .syncService = m_to.syncService,
          .trackingEngine = m_to.trackingEngine,
          .mainQueue = m_to.mainQueue,
          .urlOpener = m_to.urlOpener,
          .activation = m_to.activation,
      })
    , m_authService(m_to.authService)
    , m_trackingEngine(m_to.environment, m_to.dataStore)
    , m_menu({
          .windows = m_windows,
          .authService = m_authService,
          .syncService = m_to.syncService,
          .trackingEngine = m_to.trackingEngine,
          .activation = m_to.activation,
          .mainQueue = m_to.mainQueue,
      })
{
    connect(&m_menu, &shell::AppMenu::quitRequested, this, &QuillstepApp::quitRequested);
}

void QuillstepApp::showIn(platform::StatusItem& item)
{
    m_menu.bindTo(item);
}

// NOLINTNEXTLINE(readability-make-member-function-const): what it connects changes the application.
void QuillstepApp::answer(ApplicationRequests& requests)
{
    connect(&requests, &ApplicationRequests::activated, this, &QuillstepApp::reopen);
    connect(&requests, &ApplicationRequests::urlOpened, this, &QuillstepApp::openUrl);
    connect(&requests, &ApplicationRequests::actionRequested, this, &QuillstepApp::runAction);
}

void QuillstepApp::launch()
{
    m_isLaunching = true;
    m_appDelegate.applicationDidFinishLaunching();
    m_to.mainQueue.asyncAfter(shell::kTimeUntilTheFirstWindow, [this] {
        m_isLaunching = false;
        connect(&m_authService, &AuthService::sessionResumed, this, &QuillstepApp::continueSession);
    });
}

void QuillstepApp::openUrl(const QString& url, const ActivationToken& token)
{
    const auto window = shell::isOwnUrl(url) ? shell::windowFor(url) : std::nullopt;
    if (window)
        open(*window, token);
    else
        complain(QStringLiteral("ignored the address \"%1\": not one of this program's").arg(url));
}

void QuillstepApp::reopen(const ActivationToken& token)
{
    // The user's hand is on this program: a window that is there comes to the front.
    m_to.activation.activateIgnoringOtherApps(token);
    // The bus that starts the program activates it at once, before the keyring can have answered:
    // the first window is on its way, and it will be the right one.
    if (!m_isLaunching)
        m_appDelegate.applicationShouldHandleReopen(m_windows.hasVisibleWindows());
}

void QuillstepApp::runAction(const QString& name, const ActivationToken& token)
{
    if (name == QLatin1StringView("quit"))
        Q_EMIT quitRequested();
    else if (shell::windowScene(name))
        open(name, token);
    else
        complain(QStringLiteral("ignored the action \"%1\": there is no such action").arg(name));
}

void QuillstepApp::continueSession()
{
    shell::startServices(m_to.syncService, m_to.trackingEngine);
    if (!m_windows.isOpen(shell::kLoginWindow))
        return;
    m_windows.dismissWindow(shell::kLoginWindow);
    open(shell::kDashboardWindow, {});
}

void QuillstepApp::open(const QString& window, const ActivationToken& token)
{
    m_windows.openWindow(window);
    m_to.activation.activateIgnoringOtherApps(token);
}

} // namespace app
