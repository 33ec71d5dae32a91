// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

Rectangle {
    id: root

    required property DashboardModel model
    required property WindowActions actions

    color: Colors.velomiraBackgroundLight
    implicitHeight: 600
    implicitWidth: 800

    WindowShortcuts {
        actions: root.actions
    }
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

            NoticeBox {
                Layout.fillWidth: true
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
                    Layout.fillHeight: true
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    model: root.model
                }
                TrackingCard {
                    Layout.fillHeight: true
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    model: root.model
                }
            }
            RowLayout {
                spacing: 20

                ActivityCard {
                    Layout.fillHeight: true
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    icon: "app.badge"
                    iconColor: Colors.velomiraBlue
                    rows: root.model.topApps
                    title: qsTr("Top Apps")
                }
                ActivityCard {
                    Layout.fillHeight: true
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    icon: "globe"
                    iconColor: Colors.velomiraOrange
                    rows: root.model.topWebsites
                    title: qsTr("Top Websites")
                }
            }
        }
    }
}
