// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import Quillstep.Views

// What the user should know about the desktop: it may be read and heard like an error, but nothing
// has failed.
ErrorBox {
    accent: Colors.velomiraBlue
}
