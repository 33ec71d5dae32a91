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
    // As wide as all of it; the row itself is as wide as there is room.
    implicitWidth: (spinner.visible ? spinner.width + row.spacing : 0) + (picture.visible ? picture.width : 0) + (picture.visible && label.visible ? row.spacing : 0) + (label.visible ? Math.ceil(label.implicitWidth) : 0)

    Row {
        id: row

        anchors.verticalCenter: parent.verticalCenter
        spacing: 6
        x: root.isCentered ? Math.max(0, (root.width - width) / 2) : 0

        Spinner {
            id: spinner

            anchors.verticalCenter: parent.verticalCenter
            color: root.color
            rightMargin: 4
            visible: root.isBusy
        }
        Symbol {
            id: picture

            anchors.verticalCenter: parent.verticalCenter
            color: root.color
            name: root.symbol
            size: root.symbolSize
            visible: root.symbol.length > 0
        }
        StyledText {
            id: label

            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: root.color
            font: root.textFont
            text: root.text
            visible: root.text.length > 0
            width: Math.max(0, Math.min(Math.ceil(implicitWidth), root.width - (root.implicitWidth - Math.ceil(implicitWidth))))
        }
    }
}
