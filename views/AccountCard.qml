// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

SettingsCard {
    id: root

    required property SettingsModel model

    icon: "person.circle.fill"
    iconColor: Colors.velomiraBlue
    title: qsTr("Account")

    RowLayout {
        spacing: 12
        visible: root.model.isAuthenticated

        InitialsBadge {
            color: Colors.velomiraBlue
            initials: root.model.initials
            size: 44
            textFont: TextStyles.headline
        }
        ColumnLayout {
            spacing: 2

            StyledText {
                Layout.fillWidth: true
                color: Colors.velomiraHeaderBg
                elide: Text.ElideMiddle
                font: TextStyles.headline
                text: root.model.accountName
            }
            StyledText {
                Layout.fillWidth: true
                color: Colors.velomiraGray2
                elide: Text.ElideMiddle
                font: TextStyles.caption
                text: root.model.accountEmail
                visible: text.length > 0
            }
        }
    }
    ActionButton {
        Layout.fillWidth: true
        foreground: Colors.red
        ground: Colors.withOpacity(Colors.red, 0.06)
        outline: Colors.withOpacity(Colors.red, 0.35)
        symbol: "rectangle.portrait.and.arrow.right"
        text: qsTr("Log Out")
        verticalPadding: 8
        visible: root.model.isAuthenticated

        onClicked: root.model.logout()
    }
    RowLayout {
        spacing: 8
        visible: !root.model.isAuthenticated

        Symbol {
            color: Colors.red
            name: "person.slash"
            size: Math.round(TextStyles.body.pixelSize * 1.3)
        }
        StyledText {
            Layout.fillWidth: true
            text: qsTr("Not logged in")
        }
    }
    ActionButton {
        Layout.fillWidth: true
        symbol: "person.badge.key"
        text: qsTr("Log In")
        verticalPadding: 8
        visible: !root.model.isAuthenticated

        onClicked: root.model.openLogin()
    }
}
