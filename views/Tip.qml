// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

// What its parent, a control or a shortened text, is in full; made while it is active, which is to be
// while the pointer rests there.
Loader {
    id: root

    required property string text

    visible: false

    sourceComponent: T.ToolTip {
        id: tip

        delay: 600
        margins: 6
        padding: 8
        implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
        implicitWidth: Math.min(420, contentItem.implicitWidth + leftPadding + rightPadding)
        // A component may be declared bound to the names around it only from Qt 6.5 on.
        // qmllint disable unqualified
        parent: root.parent
        text: root.text
        // qmllint enable unqualified
        visible: true
        x: parent ? (parent.width - implicitWidth) / 2 : 0
        y: parent ? parent.height + 6 : 0

        contentItem: StyledText {
            color: "white"
            font: TextStyles.subheadline
            text: tip.text
            wrapMode: Text.Wrap
        }
        background: Rectangle {
            color: Colors.velomiraHeaderBg
            radius: 6
        }
    }
}
