// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

// What a control or a shortened text is, in full, while the pointer rests on it.
T.ToolTip {
    id: root

    delay: 600
    margins: 6
    padding: 8
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    implicitWidth: Math.min(420, contentItem.implicitWidth + leftPadding + rightPadding)
    x: parent ? (parent.width - implicitWidth) / 2 : 0
    y: parent ? parent.height + 6 : 0

    contentItem: StyledText {
        color: "white"
        font: TextStyles.subheadline
        text: root.text
        wrapMode: Text.Wrap
    }
    background: Rectangle {
        color: Colors.velomiraHeaderBg
        radius: 6
    }
}
