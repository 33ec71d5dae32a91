// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform::gui {

/// Under Wayland the toolkit loads OpenGL and what draws it, some 50 MB, for windows that are drawn
/// without. It can be told not to by the environment alone; programs that we start are not to see
/// that. So this exists while the application object is made.
/// Main thread, before other threads.
class WithoutOpenGL final
{
public:
    /// Says so, unless the user has a say in it.
    WithoutOpenGL();
    WithoutOpenGL(const WithoutOpenGL&) = delete;
    WithoutOpenGL& operator=(const WithoutOpenGL&) = delete;
    /// Takes it back once the toolkit has looked. Needs the application object.
    ~WithoutOpenGL();

private:
    bool m_isSet;
};

} // namespace platform::gui
