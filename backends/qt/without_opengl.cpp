// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/without_opengl.h"

#include <QGuiApplication>
#include <QOpenGLContext>
#include <QString>
#include <QtGlobal>

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

} // namespace platform::gui
