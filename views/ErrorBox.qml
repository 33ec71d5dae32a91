// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

Rectangle {
    id: root

    property color accent: Colors.red
    required property string message

    Accessible.name: root.message
    Accessible.role: Accessible.AlertMessage
    color: Colors.withOpacity(root.accent, 0.1)
    implicitHeight: row.implicitHeight + 16
    radius: 6

    RowLayout {
        id: row

        anchors.left: parent.left
        anchors.leftMargin: 12
        anchors.right: parent.right
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8

        Symbol {
            color: root.accent
            name: "exclamationmark.triangle.fill"
            size: Math.round(TextStyles.caption.pixelSize * 1.4)
        }
        StyledText {
            Accessible.ignored: true
            Layout.fillWidth: true
            color: root.accent
            font: TextStyles.caption
            maximumLineCount: 8
            text: root.message
            wrapMode: Text.Wrap
        }
    }
}
