// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import Quillstep.Views

// The menu's shortcuts, which every window answers, and Escape where it closes the window.
Item {
    id: root

    required property WindowActions actions
    property bool closesByEscape: false

    Instantiator {
        model: root.actions.shortcuts

        Shortcut {
            required property string modelData

            context: Qt.WindowShortcut
            sequences: [modelData]

            onActivated: root.actions.choose(modelData)
        }
    }
    Shortcut {
        context: Qt.WindowShortcut
        enabled: root.closesByEscape
        sequences: ["Escape"]

        onActivated: root.actions.close()
    }
}
