// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

// A symbol and a text side by side, in the middle of the room that they have. The text gives way.
Item {
    id: root

    property string symbol
    property real symbolSize: 16
    property string text
    property color color: "white"
    property font textFont: TextStyles.body
    property bool isBusy: false
    property bool isCentered: true

    implicitHeight: row.implicitHeight
    implicitWidth: row.implicitWidth

    Row {
        id: row

        anchors.verticalCenter: parent.verticalCenter
        spacing: 6
        x: root.isCentered ? Math.max(0, (root.width - width) / 2) : 0

        Spinner {
            anchors.verticalCenter: parent.verticalCenter
            color: root.color
            rightMargin: 4
            visible: root.isBusy
        }
        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            color: root.color
            name: root.symbol
            size: root.symbolSize
            visible: root.symbol.length > 0
        }
        StyledText {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: root.color
            font: root.textFont
            text: root.text
            visible: root.text.length > 0
            width: Math.min(implicitWidth, Math.max(0, root.width - x))
        }
    }
}
