// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/qml_window_factory.h"

#include "platform/app_activation.h"
#include "platform/environment.h"
#include "shell/app_menu.h"
#include "views/accessible_control.h"
#include "views/models/dashboard_model.h"
#include "views/models/login_form.h"
#include "views/models/settings_model.h"

#include <QColor>
#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPainter>
#include <QQmlEngine>
#include <QQuickImageProvider>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QSvgRenderer>
#include <QUrl>
#include <QVariantMap>

#include <algorithm>
#include <utility>

// Made by the build from qml_types.h; naming it here also keeps the linker from dropping it.
// NOLINTNEXTLINE(readability-identifier-naming,misc-use-internal-linkage)
void qml_register_types_Quillstep_Views();

namespace views {

/// A window with one view in it. Main thread.
class WindowView final : public QQuickView
{
    Q_OBJECT

public:
    explicit WindowView(QQmlEngine& engine)
        : QQuickView(&engine, nullptr)
    {
        connect(this, &QWindow::visibilityChanged, this, &WindowView::noteOnScreen);
    }

    ~WindowView() override
    {
        // Before what it shows, which would leave its bindings without their objects.
        delete rootObject();
    }

    WindowView(const WindowView&) = delete;
    WindowView& operator=(const WindowView&) = delete;

    /// Shows the QML file `source`, which requires `properties`: each value is an object, which
    /// must live as long as the view. `resizableFrom` is the smallest size, and the first one, of a
    /// window that the user may resize; empty for one that is as large as its view.
    void load(const QUrl& source, const QVariantMap& properties, const QSize& resizableFrom)
    {
        const bool isResizable = !resizableFrom.isEmpty();
        setResizeMode(isResizable ? SizeRootObjectToView : SizeViewToRootObject);
        if (isResizable) {
            setMinimumSize(resizableFrom);
            resize(resizableFrom);
        }
        setInitialProperties(properties);
        setSource(source);
        if (isResizable || !rootObject())
            return;
        connect(rootObject(), &QQuickItem::heightChanged, this, &WindowView::fitToView);
        connect(rootObject(), &QQuickItem::widthChanged, this, &WindowView::fitToView);
        fitToView();
    }

    /// Keeps `object` at least as long as the view.
    void keep(std::shared_ptr<QObject> object) { m_kept = std::move(object); }

    /// Whether the user has typed or begun something in it, as `test` says; by default, nothing.
    void setUseTest(std::function<bool()> test) { m_useTest = std::move(test); }

    [[nodiscard]] bool isInUse() const { return m_useTest && m_useTest(); }

    /// True while somebody could see it.
    [[nodiscard]] bool isOnScreen() const
    {
        return isVisible() && isExposed() && visibility() != QWindow::Minimized;
    }

Q_SIGNALS:
    /// Before the first frame that shows it, and when it is out of sight.
    void onScreenChanged(bool /*onScreen*/);

    /// The user has closed it.
    void closed();

protected:
    bool event(QEvent* event) override
    {
        const bool handled = QQuickView::event(event);
        if (event->type() == QEvent::Close && event->isAccepted())
            Q_EMIT closed();
        return handled;
    }

    void exposeEvent(QExposeEvent* event) override
    {
        noteOnScreen();
        QQuickView::exposeEvent(event);
    }

private:
    void fitToView()
    {
        const QSize wanted = rootObject()->size().toSize();
        // In this order, so that the smallest size is never above the largest.
        setMinimumSize(minimumSize().boundedTo(wanted));
        setMaximumSize(wanted);
        setMinimumSize(wanted);
        resize(wanted);
    }

    void noteOnScreen()
    {
        const bool now = isOnScreen();
        if (now != std::exchange(m_wasOnScreen, now))
            Q_EMIT onScreenChanged(now);
    }

    std::shared_ptr<QObject> m_kept;
    std::function<bool()> m_useTest;
    bool m_wasOnScreen = false;
};

namespace {

Q_LOGGING_CATEGORY(lcViews, "velomira.views", QtCriticalMsg)

constexpr QSize kSmallestDashboard(800, 600);
constexpr QSize kDefaultSymbol(24, 24);

/// Draws the symbols of the resources in the colour and size asked for: "NAME?COLOUR", the colour
/// as QML writes it, "#rrggbb" or "#aarrggbb". An unknown name gives nothing, which QML complains
/// about.
class SymbolImages final : public QQuickImageProvider
{
public:
    SymbolImages()
        : QQuickImageProvider(QQuickImageProvider::Image)
    {
    }

    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override
    {
        const qsizetype mark = id.indexOf(u'?');
        const QString name = id.left(mark);
        const QColor colour(mark < 0 ? QString() : id.mid(mark + 1));
        QSvgRenderer symbol(QStringLiteral(":/symbols/%1.svg").arg(name));
        if (!symbol.isValid() || !colour.isValid())
            return {};

        const QSize wanted = requestedSize.isEmpty() ? kDefaultSymbol : requestedSize;
        QImage image(wanted, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        symbol.render(&painter);
        // The symbols are black: what they cover takes the colour.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), colour);
        painter.end();
        *size = wanted;
        return image;
    }
};

/// A window of the shell, made of a view.
class QmlWindow final : public QObject, public shell::ShellWindow
{
public:
    /// Owns `view`. `closed` is called once, from the event loop, when the user has closed it.
    QmlWindow(WindowView* view, platform::AppActivation& activation, std::function<void()> closed)
        : m_view(view)
        , m_activation(activation)
    {
        connect(view, &WindowView::closed, this, std::move(closed), Qt::QueuedConnection);
    }

    QmlWindow(const QmlWindow&) = delete;
    QmlWindow& operator=(const QmlWindow&) = delete;

    /// Takes the window off the screen at once. What it is made of goes with the next turn of the
    /// event loop, since the view may be what asks for it.
    ~QmlWindow() override
    {
        if (!m_view)
            return;
        m_view->disconnect(this);
        m_view->close();
        m_view->deleteLater();
    }

    void present() override
    {
        if (m_view->visibility() == QWindow::Minimized)
            m_view->showNormal();
        else
            m_view->show();
        m_activation.windowAskedFor(*m_view);
    }

    [[nodiscard]] bool isVisible() const override
    {
        return m_view->isVisible() && m_view->visibility() != QWindow::Minimized;
    }

    [[nodiscard]] bool isInUse() const override { return m_view->isInUse(); }

private:
    QPointer<WindowView> m_view;
    platform::AppActivation& m_activation;
};

/// Brings to the front, and gives the keyboard to, the first of this program's windows that is
/// titled "Login" or whose identifier, its object name, contains "login".
void focusLoginWindow()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    const auto found = std::ranges::find_if(windows, [](const QWindow* window) {
        return window->title() == QLatin1StringView("Login") ||
               window->objectName().contains(shell::kLoginWindow);
    });
    if (found == windows.end())
        return;
    (*found)->raise();
    (*found)->requestActivate();
    if (const auto* const quick = qobject_cast<QQuickWindow*>(*found))
        quick->contentItem()->forceActiveFocus();
}

} // namespace

WindowActions::WindowActions(shell::AppMenu& menu, QWindow& window)
    : QObject(&window)
    , m_menu(menu)
    , m_window(window)
{
}

QStringList WindowActions::shortcuts()
{
    // All there can be: rows come and go with the state, the window stays.
    return {QStringLiteral("Ctrl+D"), QStringLiteral("Ctrl+,"), QStringLiteral("Ctrl+Q")};
}

void WindowActions::choose(const QString& shortcut)
{
    m_menu.chooseByShortcut(shortcut);
}

void WindowActions::close()
{
    QMetaObject::invokeMethod(&m_window, "close", Qt::QueuedConnection);
}

QmlWindowFactory::QmlWindowFactory(Context context)
    : m_context(std::move(context))
{
}

QmlWindowFactory::~QmlWindowFactory()
{
    for (const auto& view : m_views)
        delete view.data();
    m_engine.reset();
    // What Qt Quick drew with is left to a turn of the event loop that may not come any more.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void QmlWindowFactory::setUp()
{
    if (m_engine)
        return;
    qml_register_types_Quillstep_Views();
    describeControls();
    // Qt takes this once in the life of a process, and before its first window.
    if (QQuickWindow::sceneGraphBackend() != QLatin1StringView("software"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    qCInfo(lcViews) << "the windows are drawn by" << QQuickWindow::sceneGraphBackend();
    m_engine = std::make_unique<QQmlEngine>();
    m_engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    m_engine->addImageProvider(QStringLiteral("symbol"), new SymbolImages);
}

std::unique_ptr<shell::ShellWindow> QmlWindowFactory::create(const shell::Scene& scene,
                                                             std::function<void()> closed)
{
    setUp();
    std::erase_if(m_views, [](const auto& view) { return view.isNull(); });
    auto* const view = new WindowView(*m_engine);
    m_views.emplace_back(view);
    view->setTitle(scene.title);
    view->setObjectName(scene.identifier);
    if (scene.identifier == shell::kDashboardWindow)
        showDashboard(*view, scene.defaultSize.value_or(kSmallestDashboard));
    else if (scene.identifier == shell::kLoginWindow)
        showLogin(*view);
    else
        showSettings(*view);
    return std::make_unique<QmlWindow>(view, m_context.desktop.activation, std::move(closed));
}

/// Shows `model` in the view of the QML `file`; every view requires a model and the actions.
void QmlWindowFactory::load(WindowView& view,
                            QLatin1StringView file,
                            QObject& model,
                            const QSize& resizableFrom) const
{
    QObject* const actions = new WindowActions(m_context.menu, view);
    view.load(QStringLiteral("qrc:/qt/qml/Quillstep/Views/%1.qml").arg(file),
              {{QStringLiteral("model"), QVariant::fromValue(&model)},
               {QStringLiteral("actions"), QVariant::fromValue(actions)}},
              resizableFrom);
}

AccountModel::Dependencies QmlWindowFactory::account() const
{
    return {.authService = m_context.services.authService,
            .syncService = m_context.services.syncService,
            .windows = m_context.windows,
            .mainQueue = m_context.desktop.mainQueue,
            .clock = m_context.environment.clock};
}

void QmlWindowFactory::showDashboard(WindowView& view, const QSize& size) const
{
    auto* const model = new DashboardModel(account(),
                                           m_context.services.dataStore,
                                           m_context.services.trackingEngine,
                                           m_context.desktop.notice);
    model->setParent(&view);
    QObject::connect(&view, &WindowView::onScreenChanged, model, &DashboardModel::setVisible);
    load(view, QLatin1StringView("DashboardView"), *model, kSmallestDashboard);
    view.resize(size);
}

void QmlWindowFactory::showLogin(WindowView& view) const
{
    const auto& [services, environment, desktop, windows, menu, setIsShowingLogin, serviceUrl] =
        m_context;
    const LoginViewWrapper wrapper(services, windows, desktop.mainQueue, setIsShowingLogin);
    const auto focus = [&windows = m_context.windows] {
        if (windows.isAskedForLast(shell::kLoginWindow))
            focusLoginWindow();
    };
    const auto dismiss = [guard = QPointer(&view)] {
        if (guard)
            guard->close();
    };
    const auto form = LoginForm::create({.services = services,
                                         .mainQueue = desktop.mainQueue,
                                         .activation = desktop.activation,
                                         .urlOpener = desktop.urlOpener,
                                         .serviceUrl = serviceUrl},
                                        {.dismiss = dismiss,
                                         .onLoginSuccess = [wrapper] { wrapper.loginSucceeded(); },
                                         .focusWindow = focus});
    QQmlEngine::setObjectOwnership(form.get(), QQmlEngine::CppOwnership);
    view.keep(form);
    view.setUseTest([form = form.get()] { return form->isInUse(); });
    // Once: a window that comes back, from the taskbar or with its workspace, finds the keyboard
    // where it was, and the user is the one who brought it.
    QObject::connect(&view,
                     &WindowView::onScreenChanged,
                     form.get(),
                     &LoginForm::appeared,
                     Qt::SingleShotConnection);
    QObject::connect(&view, &WindowView::closed, form.get(), &LoginForm::disappeared);
    load(view, QLatin1StringView("LoginView"), *form);
}

void QmlWindowFactory::showSettings(WindowView& view) const
{
    auto* const model = new SettingsModel(account(),
                                          {.userDefaults = m_context.environment.userDefaults,
                                           .loginItem = m_context.desktop.loginItem,
                                           .diagnostics = m_context.environment.diagnostics,
                                           .urlOpener = m_context.desktop.urlOpener,
                                           .serviceUrl = m_context.serviceUrl});
    model->setParent(&view);
    load(view, QLatin1StringView("SettingsView"), *model);
}

} // namespace views

#include "qml_window_factory.moc"
