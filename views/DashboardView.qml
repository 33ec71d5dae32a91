// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

WindowContent {
    id: root

    required property DashboardModel model

    implicitHeight: 600
    implicitWidth: 800

    DashboardHeader {
        id: header

        anchors.left: parent.left
        anchors.right: parent.right
        model: root.model
    }
    ScrollArea {
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: header.bottom
        contentHeight: sections.implicitHeight + 40
        contentWidth: width

        ColumnLayout {
            id: sections

            spacing: 20
            width: parent.width - 40
            x: 20
            y: 20

            // It may be read and heard like an error, but nothing has failed.
            ErrorBox {
                Layout.fillWidth: true
                accent: Colors.velomiraBlue
                message: root.model.notice
                visible: root.model.notice.length > 0
            }
            RowLayout {
                spacing: 10

                StyledText {
                    text: qsTr("Time Range")
                }
                SegmentedPicker {
                    label: qsTr("Time Range")
                    segments: root.model.timeRanges
                    selected: root.model.timeRange

                    onPicked: index => root.model.timeRange = index
                }
            }
            RowLayout {
                spacing: 20

                SyncCard {
                    model: root.model
                }
                Card {
                    id: tracking

                    readonly property color toggleColor: root.model.isTracking ? Colors.velomiraOrange : Colors.green

                    icon: "waveform.path.ecg"
                    iconColor: Colors.velomiraOrange
                    title: qsTr("Tracking Status")

                    RowLayout {
                        spacing: 8

                        StatusDot {
                            color: root.model.isTracking ? Colors.green : Colors.velomiraGray3
                        }
                        StyledText {
                            Layout.fillWidth: true
                            color: root.model.isTracking ? Colors.green : Colors.velomiraGray2
                            font: TextStyles.subheadlineBold
                            text: root.model.isTracking ? qsTr("Tracking Active") : qsTr("Tracking Paused")
                        }
                        ActionButton {
                            font: TextStyles.captionBold
                            foreground: tracking.toggleColor
                            ground: Colors.withOpacity(tracking.toggleColor, 0.1)
                            symbol: root.model.isTracking ? "pause.fill" : "play.fill"
                            text: root.model.isTracking ? qsTr("Pause") : qsTr("Resume")

                            onClicked: root.model.toggleTracking()
                        }
                    }
                }
            }
            RowLayout {
                spacing: 20

                ActivityCard {
                    icon: "app.badge"
                    iconColor: Colors.velomiraBlue
                    rows: root.model.topApps
                    title: qsTr("Top Apps")
                }
                ActivityCard {
                    icon: "globe"
                    iconColor: Colors.velomiraOrange
                    rows: root.model.topWebsites
                    title: qsTr("Top Websites")
                }
            }
        }
    }
}
