// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/qml_window_factory.h"

#include "app/shell/window_router.h"
#include "views/accessible_control.h"
#include "views/login_window_lookup.h"
#include "views/models/dashboard_model.h"
#include "views/models/login_form.h"
#include "views/models/login_view_wrapper.h"
#include "views/models/settings_model.h"
#include "views/qml_window.h"
#include "views/symbol_images.h"
#include "views/window_actions.h"
#include "views/window_view.h"

#include <QCoreApplication>
#include <QQmlEngine>
#include <QQuickWindow>

#include <utility>

// Made by the build from qml_types.h; naming it here also keeps the linker from dropping it.
// NOLINTNEXTLINE(readability-identifier-naming,misc-use-internal-linkage)
void qml_register_types_Quillstep_Views();

namespace views {

namespace {

constexpr QSize kSmallestDashboard(800, 600);

QUrl viewFile(QLatin1StringView name)
{
    return QStringLiteral("qrc:/qt/qml/Quillstep/Views/%1.qml").arg(name);
}

/// The properties that every view requires.
QVariantMap propertiesOf(QObject* model, WindowActions* actions)
{
    return {
        {QStringLiteral("model"), QVariant::fromValue(model)},
        {QStringLiteral("actions"), QVariant::fromValue<QObject*>(actions)},
    };
}

WindowActions* actionsOf(WindowView& view, const ViewContext& context)
{
    auto* const actions = new WindowActions(context.menu, &view);
    // From the event loop: what asks for it is part of the view.
    QObject::connect(
        actions, &WindowActions::closeRequested, &view, &QWindow::close, Qt::QueuedConnection);
    return actions;
}

} // namespace

QmlWindowFactory::QmlWindowFactory(ViewContext context)
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
    AccessibleControl::install();
    // Qt takes this once in the life of a process, and before its first window.
    if (QQuickWindow::sceneGraphBackend() != QLatin1StringView("software"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
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
    return std::make_unique<QmlWindow>(view, m_context.activation, std::move(closed));
}

void QmlWindowFactory::showDashboard(WindowView& view, const QSize& size) const
{
    auto* const model = new DashboardModel(m_context);
    model->setParent(&view);
    QObject::connect(&view, &WindowView::onScreenChanged, model, &DashboardModel::setVisible);
    view.load({.source = viewFile(QLatin1StringView("DashboardView")),
               .properties = propertiesOf(model, actionsOf(view, m_context)),
               .resizableFrom = kSmallestDashboard});
    view.resize(size);
}

void QmlWindowFactory::showLogin(WindowView& view) const
{
    const LoginViewWrapper wrapper(m_context);
    const QPointer<WindowView> guard(&view);
    const auto focus = [&windows = m_context.windows] {
        if (windows.isAskedForLast(shell::kLoginWindow))
            focusLoginWindow();
    };
    const auto form = LoginForm::create(m_context,
                                        {.dismiss =
                                             [guard] {
                                                 if (guard)
                                                     guard->close();
                                             },
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
    view.load({.source = viewFile(QLatin1StringView("LoginView")),
               .properties = propertiesOf(form.get(), actionsOf(view, m_context)),
               .resizableFrom = {}});
}

void QmlWindowFactory::showSettings(WindowView& view) const
{
    auto* const model = new SettingsModel(m_context);
    model->setParent(&view);
    view.load({.source = viewFile(QLatin1StringView("SettingsView")),
               .properties = propertiesOf(model, actionsOf(view, m_context)),
               .resizableFrom = {}});
}

} // namespace views
