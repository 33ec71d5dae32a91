// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

WindowContent {
    id: root

    required property SettingsModel model

    closesByEscape: true
    height: 620
    width: 480

    Rectangle {
        id: header

        anchors.left: parent.left
        anchors.right: parent.right
        implicitHeight: names.implicitHeight + 48
        gradient: Gradient {
            GradientStop {
                color: Colors.velomiraAccentBlue
                position: 0
            }
            GradientStop {
                color: "white"
                position: 1
            }
        }

        Column {
            id: names

            anchors.centerIn: parent
            spacing: 6

            Logo {
                anchors.horizontalCenter: parent.horizontalCenter
                fallbackColor: Colors.velomiraBlue
                size: 50
                visible: DesktopStyle.hasLogo
            }
            StyledText {
                anchors.horizontalCenter: parent.horizontalCenter
                color: Colors.velomiraBlue
                font: TextStyles.sized(28, Font.Bold)
                text: "Velomira"
            }
            StyledText {
                anchors.horizontalCenter: parent.horizontalCenter
                color: Colors.velomiraGray2
                font: TextStyles.subheadline
                text: qsTr("Usage Monitor")
            }
        }
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
                model: root.model
            }
            SynchronizationCard {
                model: root.model
            }
            // Whether tracking goes on, which here means whether somebody is signed in, and whether it does
            // so after the next login to the desktop.
            SettingsCard {
                icon: "waveform.path.ecg"
                iconColor: Colors.green
                title: qsTr("Tracking Status")

                RowLayout {
                    spacing: 8

                    StatusDot {
                        color: root.model.isAuthenticated ? Colors.green : Colors.red
                    }
                    StyledText {
                        Layout.fillWidth: true
                        text: root.model.isAuthenticated ? qsTr("Tracking Active") : qsTr("Tracking Paused")
                    }
                }
                Separator {
                    Layout.fillWidth: true
                    verticalPadding: 8
                }
                RowLayout {
                    spacing: 8

                    Symbol {
                        color: Colors.velomiraGray3
                        name: "power"
                        size: Math.round(TextStyles.body.pixelSize * 1.3)
                    }
                    StyledText {
                        Layout.fillWidth: true
                        text: qsTr("Launch at Login")
                    }
                    ToggleSwitch {
                        checked: root.model.launchAtLogin
                        label: qsTr("Launch at Login")

                        onToggled: root.model.launchAtLogin = checked
                    }
                }
                Separator {
                    Layout.fillWidth: true
                    verticalPadding: 8
                }
            }
            AboutCard {
                model: root.model
            }
        }
    }
}
