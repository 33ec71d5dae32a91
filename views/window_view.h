// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QQuickView>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <utility>

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

/// A window with one view in it. Main thread.
class WindowView final : public QQuickView
{
    Q_OBJECT

public:
    struct Content
    {
        /// Of the QML file.
        QUrl source;
        /// What the view requires: each value is an object, which must live as long as the view.
        QVariantMap properties;
        /// The smallest size, and the first one, of a window that the user may resize; empty for
        /// one that is as large as its view.
        QSize resizableFrom;
    };

    explicit WindowView(QQmlEngine& engine);
    ~WindowView() override;
    WindowView(const WindowView&) = delete;
    WindowView& operator=(const WindowView&) = delete;

    void load(const Content& content);

    /// Keeps `object` at least as long as the view.
    void keep(std::shared_ptr<QObject> object) { m_kept = std::move(object); }

    /// Whether the user has typed or begun something in it, as `test` says; by default, nothing.
    void setUseTest(std::function<bool()> test) { m_useTest = std::move(test); }

    [[nodiscard]] bool isInUse() const { return m_useTest && m_useTest(); }

    /// True while somebody could see it.
    [[nodiscard]] bool isOnScreen() const;

Q_SIGNALS:
    /// Before the first frame that shows it, and when it is out of sight.
    void onScreenChanged(bool onScreen);

    /// The user has closed it.
    void closed();

protected:
    bool event(QEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;

private:
    void fitToView();
    void noteOnScreen();

    std::shared_ptr<QObject> m_kept;
    std::function<bool()> m_useTest;
    bool m_wasOnScreen = false;
};

} // namespace views
