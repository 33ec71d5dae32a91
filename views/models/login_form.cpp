// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/login_form.h"

#include "account/auth_service.h"
#include "base/wipe.h"
#include "platform/app_activation.h"
#include "platform/main_queue.h"
#include "platform/url_opener.h"
#include "shell/window_router.h"
#include "views/models/account_model.h"

#include <chrono>
#include <utility>

namespace views {

namespace {

using platform::ActivationPolicy;

const QString kRefused = QStringLiteral("Invalid email or password. Please try again.");
constexpr std::chrono::milliseconds kUntilTheDashboard(200);

} // namespace

LoginViewWrapper::LoginViewWrapper(const shell::Services& services,
                                   shell::WindowRouter& windows,
                                   platform::MainQueue& mainQueue,
                                   std::function<void(bool)> setIsShowingLogin)
    : m_services(services)
    , m_windows(windows)
    , m_mainQueue(mainQueue)
    , m_setIsShowingLogin(std::move(setIsShowingLogin))
{
}

void LoginViewWrapper::loginSucceeded() const
{
    m_setIsShowingLogin(false);
    // The form has done so, too; the interval of the uploads begins here.
    m_services.start();
    m_windows.dismissWindow(shell::kLoginWindow);
    m_mainQueue.asyncAfter(kUntilTheDashboard,
                           [&windows = m_windows] { windows.show(shell::kDashboardWindow); });
}

std::shared_ptr<LoginForm> LoginForm::create(Dependencies dependencies, Actions actions)
{
    return std::shared_ptr<LoginForm>(new LoginForm(std::move(dependencies), std::move(actions)));
}

LoginForm::LoginForm(Dependencies dependencies, Actions actions)
    : m_to(std::move(dependencies))
    , m_actions(std::move(actions))
{
}

LoginForm::~LoginForm()
{
    platform::wipe(m_password);
}

void LoginForm::setEmail(const QString& text)
{
    if (text == m_email)
        return;
    m_email = text;
    Q_EMIT emailChanged();
    Q_EMIT canSubmitChanged();
}

void LoginForm::setPassword(const QString& text)
{
    if (text == m_password)
        return;
    QString before = std::exchange(m_password, text);
    Q_EMIT passwordChanged();
    Q_EMIT canSubmitChanged();
    platform::wipe(before); // after the field has let go of it
}

bool LoginForm::canSubmit() const
{
    return !m_email.isEmpty() && !m_password.isEmpty() && !m_isLoading;
}

void LoginForm::setFocusedField(Field field)
{
    if (std::exchange(m_focusedField, field) != field)
        Q_EMIT focusedFieldChanged();
}

QString LoginForm::serviceHost() const
{
    return views::serviceHost(m_to.serviceUrl);
}

void LoginForm::appeared()
{
    m_to.mainQueue.async([&activation = m_to.activation, weak = weak_from_this()] {
        activation.setActivationPolicy(ActivationPolicy::Regular);
        activation.activateIgnoringOtherApps();
        const auto self = weak.lock();
        if (!self)
            return;
        self->m_actions.focusWindow();
        self->setFocusedField(Field::Email);
    });
}

void LoginForm::disappeared()
{
    setPassword({});
    m_to.mainQueue.async([&activation = m_to.activation] {
        activation.setActivationPolicy(ActivationPolicy::Accessory);
    });
}

void LoginForm::submitEmail()
{
    setFocusedField(Field::Password);
}

void LoginForm::performLogin()
{
    if (!canSubmit())
        return;
    setErrorMessage({});
    login(shared_from_this());
}

QCoro::Task<> LoginForm::login(std::shared_ptr<LoginForm> self)
{
    self->setIsLoading(true);
    // The form may be gone from the screen when the answer comes; `self` is not.
    const bool succeeded =
        co_await self->m_to.services.authService.login(self->m_email, self->m_password);
    self->setIsLoading(false);
    self->finish(succeeded);
}

void LoginForm::finish(bool succeeded)
{
    if (!succeeded) {
        setErrorMessage(m_to.services.authService.lastError().value_or(kRefused));
        return;
    }
    setPassword({});
    m_to.services.start();
    m_actions.dismiss();
    m_actions.onLoginSuccess();
}

void LoginForm::openWebSite()
{
    m_to.urlOpener.open(serviceWebSite(m_to.serviceUrl));
}

void LoginForm::setErrorMessage(const QString& text)
{
    if (text == m_errorMessage)
        return;
    m_errorMessage = text;
    Q_EMIT errorMessageChanged();
}

void LoginForm::setIsLoading(bool value)
{
    m_isLoading = value;
    Q_EMIT isLoadingChanged();
    Q_EMIT canSubmitChanged();
}

} // namespace views
