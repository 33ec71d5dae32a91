// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

// The band at the top of the dashboard: who is signed in, and the way to the other windows.
Rectangle {
    id: root

    required property DashboardModel model

    gradient: Colors.velomiraHeader
    implicitHeight: row.implicitHeight + 24

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.bottomMargin: 12
        anchors.leftMargin: 16
        anchors.rightMargin: 16
        anchors.topMargin: 12
        spacing: 12

        Logo {
            fallbackColor: "white"
            size: 36
        }
        ColumnLayout {
            spacing: 0

            StyledText {
                color: "white"
                font: TextStyles.title2Bold
                text: "Velomira"
            }
            StyledText {
                color: Colors.velomiraGray4
                font: TextStyles.caption
                text: qsTr("Usage Monitor")
            }
        }
        Item {
            Layout.fillWidth: true
        }
        InitialsBadge {
            color: Colors.velomiraBlueLight
            initials: root.model.initials
            size: 32
            textFont: TextStyles.captionBold
            visible: root.model.isAuthenticated
        }
        StyledText {
            Layout.maximumWidth: Math.min(implicitWidth + 1, 260)
            Layout.minimumWidth: 0
            color: "white"
            elide: Text.ElideMiddle
            font: TextStyles.subheadline
            maximumLineCount: 1
            text: root.model.displayName
            visible: root.model.isAuthenticated
        }
        ActionButton {
            font: TextStyles.caption
            ground: "#26FFFFFF"
            ringColor: "white"
            symbol: "rectangle.portrait.and.arrow.right"
            text: qsTr("Logout")
            visible: root.model.isAuthenticated

            onClicked: root.model.logout()
        }
        ActionButton {
            font: TextStyles.subheadlineBold
            ground: Colors.velomiraOrange
            horizontalPadding: 16
            radius: 8
            ringColor: "white"
            symbol: "person.badge.key"
            text: qsTr("Login")
            verticalPadding: 8
            visible: !root.model.isAuthenticated

            onClicked: root.model.openLogin()
        }
        ActionButton {
            description: qsTr("Settings")
            foreground: "#CCFFFFFF"
            ground: "#1AFFFFFF"
            implicitHeight: 36
            implicitWidth: 36
            horizontalPadding: 0
            radius: 8
            ringColor: "white"
            showsText: false
            symbol: "gearshape.fill"
            symbolSize: Math.round(TextStyles.title3.pixelSize * 1.2)

            onClicked: root.model.openSettings()
        }
    }
}
