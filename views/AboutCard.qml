// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

SettingsCard {
    id: root

    required property SettingsModel model

    icon: "info.circle.fill"
    iconColor: Colors.velomiraGray2
    title: qsTr("About")

    RowLayout {
        spacing: 8

        Symbol {
            color: Colors.velomiraGray3
            name: "server.rack"
            size: Math.round(TextStyles.body.pixelSize * 1.3)
        }
        StyledText {
            color: Colors.velomiraGray2
            text: qsTr("API:")
        }
        Item {
            Layout.fillWidth: true
        }
        Rectangle {
            Layout.maximumWidth: implicitWidth
            Layout.fillWidth: true
            color: Colors.velomiraAccentBlue
            implicitHeight: host.implicitHeight + 8
            implicitWidth: Math.ceil(host.implicitWidth) + 16
            radius: 4

            StyledText {
                id: host

                anchors.fill: parent
                anchors.leftMargin: 8
                anchors.rightMargin: 8
                color: Colors.velomiraBlue
                elide: Text.ElideMiddle
                font: TextStyles.captionMonospaced
                text: root.model.serviceHost
                verticalAlignment: Text.AlignVCenter
            }
        }
    }
    Separator {
        Layout.fillWidth: true
    }
    RowLayout {
        spacing: 8

        StyledText {
            Layout.fillWidth: true
            text: qsTr("Version")
        }
        StyledText {
            color: Colors.velomiraGray2
            text: root.model.version
        }
    }
    Separator {
        Layout.fillWidth: true
    }
    LinkText {
        Layout.maximumWidth: parent.width
        symbol: "arrow.up.right.square"
        text: qsTr("Visit Velomira")

        onClicked: root.model.openWebSite()
    }
}
