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
    Keys.forwardTo: [area]
    activeFocusOnTab: label.truncated || root.activeFocus
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
        ScrollArea {
            id: area

            Layout.fillWidth: true
            contentHeight: label.implicitHeight
            contentWidth: width
            implicitHeight: Math.min(label.implicitHeight, 300)

            MessageText {
                id: label

                Accessible.ignored: true
                color: root.accent
                font: TextStyles.caption
                holder: root
                lines: 8
                text: root.message
                width: area.width
            }
        }
    }
    FocusRing {
        control: root
    }
}
