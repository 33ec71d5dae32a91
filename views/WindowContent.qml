// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import Quillstep.Views

// What a window shows: on its ground it answers the menu's shortcuts, and Escape where that closes it.
Rectangle {
    id: root

    required property WindowActions actions
    property bool closesByEscape: false

    color: Colors.velomiraBackgroundLight

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
