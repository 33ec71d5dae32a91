// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/desktop.h"
#include "shell/services.h"
#include "shell/window_router.h"
#include "views/models/account_model.h"

#include <QObject>
#include <QPointer>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

class QQmlEngine;

namespace platform {
struct Environment;
}

namespace shell {
class AppMenu;
}

namespace views {

/// What the keyboard does in every window: the menu's shortcuts, and closing it.
/// Main thread; the menu must outlive it.
class WindowActions final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QList<QString> shortcuts READ shortcuts CONSTANT FINAL)

public:
    /// Owned by `window`.
    WindowActions(shell::AppMenu& menu, QWindow& window);

    /// The shortcuts of the menu: "Ctrl+D".
    [[nodiscard]] static QStringList shortcuts();

    /// Does what the row of the menu with this shortcut does, if there is one now.
    Q_INVOKABLE void choose(const QString& shortcut);

    /// From the event loop: what asks for it is part of the window.
    Q_INVOKABLE void close();

private:
    shell::AppMenu& m_menu;
    QWindow& m_window;
};

class WindowView;

/// Makes the windows in Qt Quick. What Qt needs for them is not set up before the first one is
/// asked for, and stays then. They are drawn by the processor: three windows of text and bars need
/// no graphics card, and a third of the memory.
/// Main thread; after QGuiApplication is made, and gone before it is.
class QmlWindowFactory final : public shell::WindowFactory
{
public:
    /// What the windows show and act on. All of it must outlive every window.
    struct Context
    {
        shell::Services services;
        const platform::Environment& environment;
        platform::Desktop desktop;
        shell::WindowRouter& windows;
        /// The menu's shortcuts work in the windows, too.
        shell::AppMenu& menu;
        /// Told false when the login window has done its work.
        std::function<void(bool)> setIsShowingLogin;
        /// Scheme, host and port of the service.
        QString serviceUrl;
    };

    explicit QmlWindowFactory(Context context);
    /// Takes the windows along that have been closed and not yet gone.
    ~QmlWindowFactory() override;
    QmlWindowFactory(const QmlWindowFactory&) = delete;
    QmlWindowFactory& operator=(const QmlWindowFactory&) = delete;

    [[nodiscard]] std::unique_ptr<shell::ShellWindow> create(const shell::Scene& scene,
                                                             std::function<void()> closed) override;

    /// Null before the first window.
    [[nodiscard]] QQmlEngine* engine() const { return m_engine.get(); }

private:
    void setUp();
    void showDashboard(WindowView& view, const QSize& size) const;
    void showLogin(WindowView& view) const;
    void showSettings(WindowView& view) const;
    void load(WindowView& view,
              QLatin1StringView file,
              QObject& model,
              const QSize& resizableFrom = {}) const;
    [[nodiscard]] AccountModel::Dependencies account() const;

    Context m_context;
    std::unique_ptr<QQmlEngine> m_engine;
    std::vector<QPointer<WindowView>> m_views;
};

} // namespace views
