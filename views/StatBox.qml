// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

// A tile with one figure.
Rectangle {
    id: root

    required property string title
    required property string value
    required property string icon

    Accessible.name: root.title
    Accessible.description: root.value
    Accessible.role: Accessible.Grouping
    Layout.fillWidth: true
    color: Colors.withOpacity(Colors.velomiraAccentBlue, 0.5)
    implicitHeight: column.implicitHeight + 24
    implicitWidth: 80
    radius: 8

    Column {
        id: column

        anchors.left: parent.left
        anchors.margins: 8
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 4

        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            color: Colors.velomiraBlue
            name: root.icon
            size: Math.round(TextStyles.title3.pixelSize * 1.2)
        }
        StyledText {
            color: Colors.velomiraHeaderBg
            font: TextStyles.headline
            horizontalAlignment: Text.AlignHCenter
            text: root.value
            width: parent.width
        }
        StyledText {
            color: Colors.velomiraGray2
            font: TextStyles.caption2
            horizontalAlignment: Text.AlignHCenter
            text: root.title
            width: parent.width
        }
    }
}
