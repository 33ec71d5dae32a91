// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import Quillstep.Views

// Turns while it can be seen. Steps ten times a second instead of gliding, which is enough and cheap.
Item {
    id: root

    property color color: Colors.velomiraOrange
    property real rightMargin: 0
    // Of the usual size of 20 pixels.
    property real size: 14
    property int step: 0

    Accessible.name: qsTr("In progress")
    Accessible.role: Accessible.Animation
    implicitHeight: root.size
    implicitWidth: root.size + root.rightMargin

    Timer {
        interval: 100
        repeat: true
        // By the item: a timer is in no window of its own.
        running: root.visible && root.Window.visibility !== Window.Hidden && root.Window.visibility !== Window.Minimized

        onTriggered: root.step = (root.step + 1) % 8
    }

    Repeater {
        model: 8

        Item {
            id: spoke

            required property int index

            height: root.size
            rotation: spoke.index * 45
            width: root.size

            Rectangle {
                anchors.horizontalCenter: parent.horizontalCenter
                antialiasing: true
                color: root.color
                height: root.size * 0.3
                opacity: 0.2 + 0.8 * ((spoke.index - root.step + 7) % 8) / 7
                radius: width / 2
                width: root.size * 0.12
            }
        }
    }
}
