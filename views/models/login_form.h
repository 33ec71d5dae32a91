// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "shell/services.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace platform {
class AppActivation;
class MainQueue;
class UrlOpener;
} // namespace platform

namespace shell {
class WindowRouter;
}

namespace views {

/// The windows around the login form: what follows a successful sign-in.
/// Main thread; what it is given must outlive it.
class LoginViewWrapper final
{
public:
    /// `setIsShowingLogin` is told false when the login window has done its work.
    LoginViewWrapper(const shell::Services& services,
                     shell::WindowRouter& windows,
                     platform::MainQueue& mainQueue,
                     std::function<void(bool)> setIsShowingLogin);

    /// Starts the services anew, closes the login window and opens the dashboard a moment later.
    void loginSucceeded() const;

private:
    shell::Services m_services;
    shell::WindowRouter& m_windows;
    platform::MainQueue& m_mainQueue;
    std::function<void(bool)> m_setIsShowingLogin;
};

/// The login form. A sign-in that is under way keeps it alive after its window is closed and then
/// does all that a success entails; so it is made by create() and held by shared pointers.
/// Main thread; what it is given must outlive it.
class LoginForm final : public QObject, public std::enable_shared_from_this<LoginForm>
{
    Q_OBJECT
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY emailChanged FINAL)
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged FINAL)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY errorMessageChanged FINAL)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged FINAL)
    Q_PROPERTY(bool canSubmit READ canSubmit NOTIFY canSubmitChanged FINAL)
    Q_PROPERTY(views::LoginForm::Field focusedField READ focusedField WRITE setFocusedField NOTIFY
                   focusedFieldChanged FINAL)
    Q_PROPERTY(QString serviceHost READ serviceHost CONSTANT FINAL)

public:
    // QML reads and writes enumerations as int. NOLINTNEXTLINE(performance-enum-size)
    enum class Field {
        None,
        Email,
        Password,
    };
    Q_ENUM(Field)

    struct Dependencies
    {
        shell::Services services;
        platform::MainQueue& mainQueue;
        platform::AppActivation& activation;
        platform::UrlOpener& urlOpener;
        QString serviceUrl;
    };

    struct Actions
    {
        /// Closes the window that shows the form, if it still does.
        std::function<void()> dismiss;
        std::function<void()> onLoginSuccess;
        /// Brings the login window to the front, if there is one and no other was asked for since.
        std::function<void()> focusWindow;
    };

    [[nodiscard]] static std::shared_ptr<LoginForm> create(Dependencies dependencies,
                                                           Actions actions);

    ~LoginForm() override;
    LoginForm(const LoginForm&) = delete;
    LoginForm& operator=(const LoginForm&) = delete;

    [[nodiscard]] QString email() const { return m_email; }

    void setEmail(const QString& text);

    [[nodiscard]] QString password() const { return m_password; }

    void setPassword(const QString& text);

    /// Why the last attempt failed; empty when there is nothing to say.
    [[nodiscard]] QString errorMessage() const { return m_errorMessage; }

    [[nodiscard]] bool isLoading() const { return m_isLoading; }

    /// Both fields are filled, and no attempt is under way.
    [[nodiscard]] bool canSubmit() const;

    /// Something is typed, or an attempt is under way.
    [[nodiscard]] bool isInUse() const
    {
        return !m_email.isEmpty() || !m_password.isEmpty() || m_isLoading;
    }

    [[nodiscard]] Field focusedField() const { return m_focusedField; }

    void setFocusedField(Field field);

    [[nodiscard]] QString serviceHost() const;

    /// The form is on screen for the first time: the program shows itself as one with windows,
    /// comes to the front, and the e-mail field gets the keyboard.
    void appeared();

    /// The form's window is closed: the program goes back to being in the background, and the
    /// password is forgotten.
    void disappeared();

    /// Return in the e-mail field.
    Q_INVOKABLE void submitEmail();

    /// Signs in with what the fields hold; does nothing unless canSubmit().
    Q_INVOKABLE void performLogin();

    Q_INVOKABLE void openWebSite();

Q_SIGNALS:
    void emailChanged();
    void passwordChanged();
    void errorMessageChanged();
    void isLoadingChanged();
    void canSubmitChanged();
    void focusedFieldChanged();

private:
    LoginForm(Dependencies dependencies, Actions actions);

    static QCoro::Task<> login(std::shared_ptr<LoginForm> self);

    void finish(bool succeeded);
    void setErrorMessage(const QString& text);
    void setIsLoading(bool value);

    Dependencies m_to;
    Actions m_actions;
    QString m_email;
    QString m_password;
    QString m_errorMessage;
    bool m_isLoading = false;
    Field m_focusedField = Field::None;
};

} // namespace views
