// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/window_activation.h"

#include "backends/desktops/x11/x11_reply.h"
#include "backends/posix/this_process.h"
#include "base/build_config.h"

#include <QByteArray>
#include <QEvent>
#include <QGuiApplication>
#include <QOpenGLContext>
#include <QString>
#include <QWindow>
#include <QtGlobal>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ranges>
#include <vector>
#include <xcb/xcb.h>

namespace platform::gui {

namespace {
constexpr const char* kVariable = "QT_WAYLAND_CLIENT_BUFFER_INTEGRATION";
} // namespace

WithoutOpenGL::WithoutOpenGL()
    : m_isSet(!qEnvironmentVariableIsSet(kVariable) && qputenv(kVariable, "none"))
{
}

WithoutOpenGL::~WithoutOpenGL()
{
    // Looks at the variable. On other platforms the question would load what is to be left out.
    if (QGuiApplication::platformName().startsWith(QLatin1StringView("wayland")))
        static_cast<void>(QOpenGLContext::supportsThreadedOpenGL());
    if (m_isSet)
        qunsetenv(kVariable);
}

using x11::X11Reply;

namespace {

// Extended Window Manager Hints: who asks, and what is done to a state.
constexpr std::uint32_t kFromPager = 2;
constexpr std::uint32_t kRemoveState = 0;
constexpr std::uint32_t kAddState = 1;
constexpr std::uint8_t kBytes = 8;
constexpr std::uint8_t kWords = 32;
constexpr std::size_t kMessageBytes = 20;
constexpr std::uint32_t kMostStates = 64;

xcb_window_t idOf(const QWindow& window)
{
    return static_cast<xcb_window_t>(window.winId());
}

/// The text of a startup message may not hold a quote or a backslash without another before it.
QByteArray quoted(const QByteArray& value)
{
    QByteArray text("\"");
    for (const char c : value) {
        if (c == '"' || c == '\\')
            text += '\\';
        text += c;
    }
    return text + '"';
}

} // namespace

/// What an X11 window manager is told about our windows beyond what the toolkit tells it: the
/// Extended Window Manager Hints and the Startup Notification Protocol (both freedesktop.org).
/// Uses the toolkit's connection, so that the order of requests holds. Main thread; sends without
/// waiting for answers.
class X11WindowHints final
{
public:
    /// None where the windows are not on an X server. Asks the server for names: one round trip.
    [[nodiscard]] static std::unique_ptr<X11WindowHints> create()
    {
        const auto* const x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
        if (!x11 || !x11->connection())
            return nullptr;
        xcb_connection_t* const connection = x11->connection();
        constexpr std::array<const char*, kAtoms> names{"_NET_ACTIVE_WINDOW",
                                                        "_NET_WM_STATE",
                                                        "_NET_WM_STATE_SKIP_TASKBAR",
                                                        "_NET_STARTUP_INFO_BEGIN",
                                                        "_NET_STARTUP_INFO"};
        std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
        for (std::size_t i = 0; i < names.size(); ++i)
            cookies[i] = xcb_intern_atom(
                connection, 0, static_cast<std::uint16_t>(std::strlen(names[i])), names[i]);
        Atoms atoms{};
        for (std::size_t i = 0; i < names.size(); ++i) {
            const X11Reply<xcb_intern_atom_reply_t> reply(
                xcb_intern_atom_reply(connection, cookies[i], nullptr));
            atoms[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        }
        return std::unique_ptr<X11WindowHints>(new X11WindowHints(connection, atoms));
    }

    /// Keeps `window` out of the taskbar, or not. Works before it is shown and afterwards.
    void setSkipsTaskbar(const QWindow& window, bool skips) const
    {
        // A window manager reads the property when the window comes, and is asked afterwards.
        presetSkipsTaskbar(idOf(window), skips);
        sendToRoot(idOf(window),
                   m_atoms[kState],
                   {.data32 = {skips ? kAddState : kRemoveState, m_atoms[kSkipTaskbar], 0, 1, 0}});
    }

    /// Gives `window` the class by which desktop files and the settings of window managers know
    /// this program. Before it is shown.
    // The toolkit takes the class from the application's name or, in later versions, from
    // elsewhere.
    void setClass(const QWindow& window) const
    {
        QByteArray names;
        for (int i = 0; i < 2; ++i) // the instance and the class
            names.append(kExecutable.data(), static_cast<qsizetype>(kExecutable.size()))
                .append('\0');
        xcb_change_property(m_connection,
                            XCB_PROP_MODE_REPLACE,
                            idOf(window),
                            XCB_ATOM_WM_CLASS,
                            XCB_ATOM_STRING,
                            kBytes,
                            static_cast<std::uint32_t>(names.size()),
                            names.constData());
    }

    /// Has the window manager activate `window`, which has been shown, as a pager would: it does
    /// not ask whether the user was busy elsewhere.
    void bringForward(const QWindow& window) const
    {
        sendToRoot(idOf(window),
                   m_atoms[kActiveWindow],
                   {.data32 = {kFromPager, XCB_CURRENT_TIME, 0, 0, 0}});
        xcb_flush(m_connection);
    }

    /// Tells launchers that the start with this startup notification id has led to its window.
    void finishStartup(const QByteArray& startupId) const
    {
        if (startupId.isEmpty() || startupId.contains('\0'))
            return;
        // The message comes in pieces, told apart from others by the window that they are from.
        const xcb_window_t sender = xcb_generate_id(m_connection);
        xcb_create_window(m_connection,
                          XCB_COPY_FROM_PARENT,
                          sender,
                          m_root,
                          -1,
                          -1,
                          1,
                          1,
                          0,
                          XCB_WINDOW_CLASS_INPUT_ONLY,
                          XCB_COPY_FROM_PARENT,
                          0,
                          nullptr);
        QByteArray message = "remove: ID=" + quoted(startupId);
        message.append('\0');
        for (qsizetype from = 0; from < message.size(); from += qsizetype(kMessageBytes)) {
            xcb_client_message_event_t event{};
            event.response_type = XCB_CLIENT_MESSAGE;
            event.format = kBytes;
            event.window = sender;
            event.type = from == 0 ? m_atoms[kStartupBegin] : m_atoms[kStartup];
            const QByteArray piece = message.mid(from, kMessageBytes);
            std::copy_n(piece.constData(), piece.size(), std::begin(event.data.data8));
            xcb_send_event(m_connection,
                           0,
                           m_root,
                           XCB_EVENT_MASK_PROPERTY_CHANGE,
                           reinterpret_cast<const char*>(&event));
        }
        xcb_destroy_window(m_connection, sender);
        xcb_flush(m_connection);
    }

private:
    enum Atom : std::uint8_t {
        kActiveWindow,
        kState,
        kSkipTaskbar,
        kStartupBegin,
        kStartup,
        kAtoms
    };

    using Atoms = std::array<xcb_atom_t, kAtoms>;

    X11WindowHints(xcb_connection_t* connection, const Atoms& atoms)
        : m_connection(connection)
        , m_root(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root)
        , m_atoms(atoms)
    {
    }

    void
    sendToRoot(xcb_window_t window, xcb_atom_t type, const xcb_client_message_data_t& data) const
    {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = kWords;
        event.window = window;
        event.type = type;
        event.data = data;
        xcb_send_event(m_connection,
                       0,
                       m_root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    }

    void presetSkipsTaskbar(xcb_window_t window, bool skips) const
    {
        const auto cookie = xcb_get_property(
            m_connection, 0, window, m_atoms[kState], XCB_ATOM_ATOM, 0, kMostStates);
        const X11Reply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(m_connection, cookie, nullptr));
        std::vector<xcb_atom_t> states;
        if (reply && reply->type == XCB_ATOM_ATOM && reply->format == kWords) {
            const auto* const first =
                static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
            states.assign(first, first + reply->value_len);
        }
        std::erase(states, m_atoms[kSkipTaskbar]);
        if (skips)
            states.push_back(m_atoms[kSkipTaskbar]);
        xcb_change_property(m_connection,
                            XCB_PROP_MODE_REPLACE,
                            window,
                            m_atoms[kState],
                            XCB_ATOM_ATOM,
                            kWords,
                            static_cast<std::uint32_t>(states.size()),
                            states.data());
    }

    xcb_connection_t* m_connection; // the toolkit's
    xcb_window_t m_root;
    Atoms m_atoms;
};

namespace {

/// A window of the application's own, not a menu, a tooltip or a part of another window.
bool isApplicationWindow(const QWindow& window)
{
    return window.isTopLevel() && (window.type() == Qt::Window || window.type() == Qt::Dialog);
}

/// Whether an event that a window gets is the user's own doing.
bool isInput(QEvent::Type type)
{
    return type == QEvent::KeyPress || type == QEvent::MouseButtonPress ||
           type == QEvent::TouchBegin || type == QEvent::TabletPress;
}

} // namespace

WindowActivation::WindowActivation()
    : m_x11(X11WindowHints::create())
{
}

WindowActivation::~WindowActivation() = default;

void WindowActivation::setHasWindows(bool hasWindows)
{
    m_hasWindows = hasWindows;
    if (hasWindows)
        qApp->installEventFilter(this);
    else
        qApp->removeEventFilter(this);
    posix::letTimersWait(!hasWindows);
}

void WindowActivation::windowAskedFor(QWindow& window)
{
    noteUse(window);
    // It has come unless another window is about to get the focus from it.
    m_hasComeForward = window.isActive() && (!m_asked || m_hasComeForward);
    m_asked = &window;
    if (!m_hasComeForward)
        m_awaitingFocus.emplace_back(&window);
}

void WindowActivation::activateIgnoringOtherApps(const ActivationToken& token)
{
    const QByteArray value = token.value.toUtf8();
    // Where the toolkit looks for it; it takes it away with the next activation.
    if (!m_x11 && !value.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", value);
    if (QWindow* const window = usedLast())
        bringForward(*window);
    if (m_x11)
        m_x11->finishStartup(value);
}

void WindowActivation::bringForward(QWindow& window)
{
    // For a window on its way to the screen the toolkit asks when it is there: of windows asked for
    // one after the other, for the first perhaps after the last has come forward.
    m_awaited = m_x11 && !window.isExposed() ? &window : nullptr;
    if (!m_awaited) {
        window.raise();
        window.requestActivate();
    }
    // The window manager gets it after the request to show the window, and before any for a window
    // that is asked for later.
    if (m_x11)
        m_x11->bringForward(window);
}

void WindowActivation::noteUse(QWindow& window)
{
    std::erase_if(m_used, [&window](const auto& used) { return !used || used == &window; });
    m_used.emplace_back(&window);
}

QWindow* WindowActivation::usedLast() const
{
    const auto found = std::ranges::find_if(m_used | std::views::reverse, [](const auto& window) {
        return window && window->isVisible() && window->visibility() != QWindow::Minimized;
    });
    return found == m_used.rend() ? nullptr : found->data();
}

void WindowActivation::setActivationPolicy(ActivationPolicy policy)
{
    m_policy = policy;
    for (const QWindow* window : QGuiApplication::topLevelWindows()) {
        if (window->isVisible() && isApplicationWindow(*window))
            applyPolicy(*window);
    }
}

void WindowActivation::applyPolicy(const QWindow& window) const
{
    if (m_x11)
        m_x11->setSkipsTaskbar(window, m_policy == ActivationPolicy::Accessory);
}

bool WindowActivation::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::Show && type != QEvent::FocusIn && type != QEvent::Expose && !isInput(type))
        return false;
    auto* const window = qobject_cast<QWindow*>(watched);
    if (!window || !isApplicationWindow(*window))
        return false;
    if (type == QEvent::Expose) {
        // Again: it may not have been taken into account yet, and without a window manager that
        // knows the message it has not been.
        if (window == m_awaited && window->isExposed())
            bringForward(*window);
        return false;
    }
    if (type == QEvent::Show) { // the window is about to appear
        if (m_x11)
            m_x11->setClass(*window);
        applyPolicy(*window);
    }
    // Of windows that were asked for together the window manager may give the focus to an earlier
    // one last: the first focus after being asked for is nobody's choice.
    const bool isFirst =
        type == QEvent::FocusIn &&
        std::erase_if(m_awaitingFocus, [window](const auto& w) { return !w || w == window; }) > 0;
    if (type == QEvent::FocusIn && window == m_asked)
        m_hasComeForward = true;
    else if (isInput(type) || (type == QEvent::FocusIn && m_hasComeForward && !isFirst))
        m_asked = nullptr;
    noteUse(*window);
    if (m_asked)
        noteUse(*m_asked);
    if (m_awaited != m_used.back())
        m_awaited = nullptr; // another one is in use by the time it comes
    return false;
}

} // namespace platform::gui
