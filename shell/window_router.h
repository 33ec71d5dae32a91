// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/app_activation.h"

#include <QLoggingCategory>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace shell {

/// Of the folder: which windows open and go, and what the menu is asked for.
Q_DECLARE_LOGGING_CATEGORY(lcShell)

/// One of the places where the application meets the user.
struct Scene
{
    enum class Kind : std::uint8_t {
        MenuBarExtra, ///< the status icon with its menu
        WindowGroup,  ///< a window that is opened by its identifier
        Settings,     ///< the settings window
    };

    Kind kind;
    /// By which a window is asked for; the status icon has none.
    QString identifier;
    /// Of the window; of the icon, what it is called.
    QString title;
    /// The symbol that labels it; of the status icon only.
    QString symbol;
    /// In device-independent pixels; none when the content decides.
    std::optional<QSize> defaultSize;
    /// An address that contains one of these texts opens the window.
    QStringList handlesExternalEventsMatching;
};

inline const QString kDashboardWindow = QStringLiteral("dashboard");
inline const QString kLoginWindow = QStringLiteral("login");
inline const QString kSettingsWindow = QStringLiteral("settings");

/// All four, in the order in which an address is compared with them.
[[nodiscard]] const std::vector<Scene>& scenes();

/// The scene of the window `identifier`; null when there is none.
[[nodiscard]] const Scene* windowScene(const QString& identifier);

/// The address of our scheme that the window `identifier` answers.
[[nodiscard]] QString urlOf(const QString& identifier);

/// The identifier of the window that answers `url`, an address of our scheme: of the first scene
/// one of whose texts it contains. None when no scene does.
[[nodiscard]] std::optional<QString> windowFor(const QString& url);

/// A window on the user's screen. Destroying it closes it.
/// Main thread.
class ShellWindow
{
public:
    ShellWindow() = default;
    ShellWindow(const ShellWindow&) = delete;
    ShellWindow& operator=(const ShellWindow&) = delete;
    virtual ~ShellWindow() = default;

    /// Shows it, also when it was minimised; it is the one that the application's next activation
    /// brings to the front.
    virtual void present() = 0;

    /// True while it is on screen; a minimised window is not.
    [[nodiscard]] virtual bool isVisible() const = 0;

    /// True while the user has typed or begun something in it that closing it would lose.
    [[nodiscard]] virtual bool isInUse() const = 0;
};

/// Makes the windows.
/// Main thread.
class WindowFactory
{
public:
    WindowFactory() = default;
    WindowFactory(const WindowFactory&) = delete;
    WindowFactory& operator=(const WindowFactory&) = delete;
    virtual ~WindowFactory() = default;

    /// Makes the window of `scene`, not yet on screen. When the user closes it, `closed` is called
    /// once, from the event loop; the callee may destroy the window there.
    [[nodiscard]] virtual std::unique_ptr<ShellWindow> create(const Scene& scene,
                                                              std::function<void()> closed) = 0;
};

/// The windows by their identifiers: at most one each, made when it is asked for and destroyed when
/// it is closed.
/// Main thread.
class WindowRouter final
{
public:
    /// `activation`, which must outlive it, is told whether there are windows.
    explicit WindowRouter(platform::AppActivation& activation)
        : m_activation(activation)
    {
    }

    WindowRouter(const WindowRouter&) = delete;
    WindowRouter& operator=(const WindowRouter&) = delete;
    ~WindowRouter() = default;

    /// The factory must outlive its windows; see closeAll(). Without one no window opens.
    void setFactory(WindowFactory* factory) { m_factory = factory; }

    /// Opens the window of the scene `identifier`, or brings the one that is there to the front.
    /// An unknown identifier opens nothing.
    void openWindow(const QString& identifier);

    void openSettings();

    /// Brings the program to the front, whatever else is there; see platform::AppActivation.
    void activate(const platform::ActivationToken& token = {});

    /// Opens the window of the scene `identifier` and brings the program to the front.
    void show(const QString& identifier, const platform::ActivationToken& token = {});

    /// Closes the window of the scene `identifier`; nothing happens when there is none. A window
    /// may ask for its own end: it is destroyed with the next turn of the event loop at the latest.
    void dismissWindow(const QString& identifier);

    [[nodiscard]] bool isOpen(const QString& identifier) const;

    /// True when the window of the scene `identifier` is there and in use.
    [[nodiscard]] bool isInUse(const QString& identifier) const;

    [[nodiscard]] bool hasVisibleWindows() const;

    /// Whether of the windows that are there the one of the scene `identifier` was opened or asked
    /// for last.
    [[nodiscard]] bool isAskedForLast(const QString& identifier) const;

    void closeAll();

private:
    struct Open
    {
        QString identifier;
        std::unique_ptr<ShellWindow> window;
    };

    void tellOfTheLast();

    platform::AppActivation& m_activation;
    WindowFactory* m_factory = nullptr;
    std::vector<Open> m_open; // the one asked for last at the end
};

} // namespace shell
