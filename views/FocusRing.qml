// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

// Shows which control has the keyboard. A little larger than the control it lies upon.
Rectangle {
    id: root

    required property Item control
    property real controlRadius: 6
    property color ringColor: Colors.velomiraBlueLight

    anchors.fill: parent
    anchors.margins: -3
    border.color: root.ringColor
    border.width: 2
    color: "transparent"
    radius: root.controlRadius + 3
    visible: root.control.activeFocus
}
