// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
pragma Singleton

import QtQuick

// The palette of the windows, and the two colours that say well and badly. Those two are darker than
// the desktops' own: text in them has a contrast of at least 4.5 to 1 on white and on the tints below.
QtObject {
    id: root

    readonly property color velomiraBlue: "#3B7DB9"
    readonly property color velomiraBlueDark: "#2C5F8A"
    readonly property color velomiraBlueLight: "#5BA3E0"
    readonly property color velomiraAccentBlue: "#E8F4F8"
    readonly property color velomiraHeaderBg: "#1E3A5F"
    readonly property color velomiraHeaderBgLight: "#2D4A6B"
    readonly property color velomiraBackgroundLight: "#F4F4F4"
    readonly property color velomiraGray1: "#4D6274"
    readonly property color velomiraGray2: "#6A8093"
    readonly property color velomiraGray3: "#899FB2"
    readonly property color velomiraGray4: "#A9BFD3"
    readonly property color velomiraGray5: "#C9E0F5"
    readonly property color velomiraOrange: "#E79C25"

    readonly property color green: "#1B7F37"
    readonly property color red: "#C62828"

    readonly property Gradient velomiraHeader: Gradient {
        orientation: Gradient.Horizontal

        GradientStop {
            position: 0
            color: root.velomiraHeaderBg
        }
        GradientStop {
            position: 1
            color: root.velomiraHeaderBgLight
        }
    }

    // Of the dot beside what is said about the uploads, by AccountModel.SyncState.
    readonly property list<color> bySyncState: [root.velomiraOrange, root.red, root.green]

    function withOpacity(base: color, opacity: real): color {
        return Qt.rgba(base.r, base.g, base.b, opacity);
    }
}
