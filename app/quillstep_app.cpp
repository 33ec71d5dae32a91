// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/quillstep_app.h"

#include "account/auth_service.h"
#include "app/command_line.h"
#include "platform/app_activation.h"
#include "platform/main_queue.h"
#include "platform/status_item.h"
#include "platform/url_opener.h"
#include "shell/window_router.h"

#include <QPointer>

#include <chrono>
#include <utility>

namespace app {

using account::AuthService;
using platform::ActivationToken;
using platform::ApplicationRequests;
using platform::Error;

namespace {

/// From the start of the process to its first window.
constexpr std::chrono::milliseconds kTimeUntilTheFirstWindow(500);
/// For the keyring, before whoever waits is told that it does not follow now.
constexpr std::chrono::seconds kTimeForTheKeyring(3);

} // namespace

AppDelegate::AppDelegate(const shell::Services& services, platform::Desktop desktop)
    : m_services(services)
    , m_desktop(std::move(desktop))
{
}

void AppDelegate::applicationDidFinishLaunching()
{
    m_desktop.mainQueue.asyncAfter(kTimeUntilTheFirstWindow, [this] {
        if (m_services.authService.isSessionKnown())
            finishLaunching();
        else
            connect(&m_services.authService,
                    &AuthService::sessionBecameKnown,
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
    const bool isSignedIn = m_services.authService.isAuthenticated();
    if (isSignedIn)
        m_services.start();
    m_desktop.urlOpener.open(
        shell::urlOf(isSignedIn ? shell::kDashboardWindow : shell::kLoginWindow));
    m_desktop.activation.activateIgnoringOtherApps();
}

QuillstepApp::QuillstepApp(Dependencies dependencies)
    : m_appDelegate(dependencies.services, dependencies.desktop)
    , m_authService(dependencies.services.authService)
    , m_trackingEngine(dependencies.environment, dependencies.services.dataStore)
    , m_to(std::move(dependencies))
    , m_windows(m_to.desktop.activation)
    , m_menu(m_to.services, m_windows, m_to.desktop.mainQueue)
{
    m_menu.bindTo(m_to.desktop.statusItem);
    connect(&m_menu, &shell::AppMenu::quitRequested, this, &QuillstepApp::quitRequested);
    connect(&m_authService, &AuthService::sessionResumed, this, &QuillstepApp::continueSession);
    connect(&m_appDelegate, &AppDelegate::launched, this, [this] { m_isLaunching = false; });
}

// NOLINTNEXTLINE(readability-make-member-function-const): what it connects changes the application.
void QuillstepApp::answer(ApplicationRequests& requests)
{
    connect(&requests, &ApplicationRequests::activated, this, &QuillstepApp::reopen);
    connect(&requests, &ApplicationRequests::urlOpened, this, &QuillstepApp::openUrl);
    connect(&requests, &ApplicationRequests::actionRequested, this, &QuillstepApp::runAction);
    connect(&requests, &ApplicationRequests::taskRequested, this, &QuillstepApp::doTask);
}

void QuillstepApp::launch()
{
    m_isLaunching = true;
    m_appDelegate.applicationDidFinishLaunching();
}

void QuillstepApp::openUrl(const QString& url, const ActivationToken& token)
{
    const auto window = platform::isOwnUrl(url) ? shell::windowFor(url) : std::nullopt;
    if (window)
        m_windows.show(*window, token);
    else
        complain(QStringLiteral("ignored the address \"%1\": not one of this program's").arg(url));
}

void QuillstepApp::reopen(const ActivationToken& token)
{
    // The user's hand is on this program: a window that is there comes to the front.
    m_windows.activate(token);
    // The bus that starts the program activates it at once, and the keyring may take its time: the
    // first window is on its way, and it will be the right one.
    if (!m_isLaunching)
        m_appDelegate.applicationShouldHandleReopen(m_windows.hasVisibleWindows());
}

void QuillstepApp::runAction(const QString& name, const ActivationToken& token)
{
    if (name == QLatin1StringView("quit"))
        Q_EMIT quitRequested();
    else if (shell::windowScene(name))
        m_windows.show(name, token);
    else
        complain(QStringLiteral("ignored the action \"%1\": there is no such action").arg(name));
}

void QuillstepApp::doTask(const QString& name, const ApplicationRequests::Answer& answer)
{
    namespace tasks = platform::tasks;
    if (name == tasks::kSignOut) {
        signOut(answer);
    } else if (name == tasks::kSignInBegins) {
        answer(m_authService.yieldKeyring()
                   ? platform::success()
                   : Error{QStringLiteral("the keyring has not answered yet; look for its prompt, "
                                          "and try again")});
    } else if (name == tasks::kSignInSaved) {
        resumeSavedSession(answer);
    } else {
        m_authService.reclaimKeyring();
        answer(platform::success());
    }
}

/// Done is what lasts: the settings say so on the disk, whether the keyring has followed or not.
void QuillstepApp::signOut(const ApplicationRequests::Answer& answer)
{
    m_authService.logout();
    const auto finish = [this, answer] {
        answer(m_to.finishSettings()
                   ? platform::success()
                   : Error{QStringLiteral("the settings cannot be written, so that the sign-out "
                                          "lasts only while it runs")});
    };
    if (!m_authService.isChangingKeyring()) {
        finish();
        return;
    }
    connect(&m_authService, &AuthService::keyringSettled, this, finish, Qt::SingleShotConnection);
    m_to.desktop.mainQueue.asyncAfter(kTimeForTheKeyring, [self = QPointer(this), finish] {
        if (self)
            finish();
    });
}

QCoro::Task<> QuillstepApp::resumeSavedSession(ApplicationRequests::Answer answer)
{
    const QPointer<QuillstepApp> self(this);
    const bool isResumed = co_await m_authService.resumeSavedSession();
    if (!self.isNull())
        answer(isResumed ? platform::success()
                         : Error{QStringLiteral("the keyring gives it no session")});
}

void QuillstepApp::continueSession()
{
    if (m_isLaunching)
        return; // the first window is on its way, and the services with it
    m_to.services.start();
    if (!m_windows.isOpen(shell::kLoginWindow) || m_windows.isInUse(shell::kLoginWindow))
        return;
    m_windows.dismissWindow(shell::kLoginWindow);
    m_windows.show(shell::kDashboardWindow);
}

} // namespace app
