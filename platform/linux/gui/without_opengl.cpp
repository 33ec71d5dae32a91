// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/without_opengl.h"

#include <QOpenGLContext>
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
    static_cast<void>(QOpenGLContext::supportsThreadedOpenGL()); // looks at the variable
    if (m_isSet)
        qunsetenv(kVariable);
}

} // namespace platform::gui
