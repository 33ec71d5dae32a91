// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

Item {
    id: root

    property real verticalPadding: 0

    implicitHeight: 1 + 2 * root.verticalPadding

    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        color: "#1F000000"
        height: 1
    }
}
