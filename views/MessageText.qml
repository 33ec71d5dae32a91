// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

// A message from elsewhere, which may be of any length. After some lines it is cut; then a tip shows it
// whole while the pointer rests on it, and it shows whole while it has the keyboard, which it gets by
// Tab or by a click.
StyledText {
    id: root

    // What has the keyboard for it, if not the text itself.
    property Item holder: root
    property int lines: 3
    readonly property bool isWhole: root.holder.activeFocus

    activeFocusOnTab: root.holder === root && (root.truncated || root.activeFocus)
    // One that is cut where its place ends would never ask for more of it.
    elide: root.isWhole ? Text.ElideNone : Text.ElideRight
    maximumLineCount: root.isWhole ? 100000 : root.lines
    wrapMode: Text.Wrap

    FocusRing {
        control: root
        controlRadius: 3
    }
    HoverHandler {
        id: hover
    }
    TapHandler {
        onTapped: {
            if (root.truncated)
                root.holder.forceActiveFocus(Qt.MouseFocusReason);
        }
    }
    Loader {
        active: hover.hovered && root.truncated
        visible: false

        sourceComponent: Tip {
            // A component may be declared bound to the names around it only from Qt 6.5 on.
            // qmllint disable unqualified
            parent: root
            text: root.text
            visible: true
            // qmllint enable unqualified
        }
    }
}
