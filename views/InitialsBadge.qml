// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

// The round badge of the user; its text is said by the name beside it.
Rectangle {
    id: root

    required property string initials
    required property font textFont
    required property real size

    implicitHeight: root.size
    implicitWidth: root.size
    radius: root.size / 2

    StyledText {
        Accessible.ignored: true
        anchors.fill: parent
        anchors.margins: 2
        color: "white"
        elide: Text.ElideNone
        font: root.textFont
        fontSizeMode: Text.HorizontalFit
        horizontalAlignment: Text.AlignHCenter
        minimumPixelSize: 6
        text: root.initials
        verticalAlignment: Text.AlignVCenter
    }
}
