// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

Rectangle {
    id: root

    required property SettingsModel model
    required property WindowActions actions

    color: Colors.velomiraBackgroundLight
    height: 620
    width: 480

    WindowShortcuts {
        actions: root.actions
        closesByEscape: true
    }
    SettingsHeader {
        id: header

        anchors.left: parent.left
        anchors.right: parent.right
    }
    ScrollArea {
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: header.bottom
        contentHeight: cards.implicitHeight + 40
        contentWidth: width

        ColumnLayout {
            id: cards

            spacing: 12
            width: parent.width - 40
            x: 20
            y: 20

            AccountCard {
                Layout.fillWidth: true
                model: root.model
            }
            SynchronizationCard {
                Layout.fillWidth: true
                model: root.model
            }
            LaunchCard {
                Layout.fillWidth: true
                model: root.model
            }
            AboutCard {
                Layout.fillWidth: true
                model: root.model
            }
        }
    }
}
