// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Quillstep.Views

// Where most time went, with a bar for each row.
Card {
    id: root

    required property ActivityRows rows

    Layout.alignment: Qt.AlignTop

    ColumnLayout {
        Layout.fillWidth: true
        Layout.preferredHeight: 150
        spacing: 8
        visible: root.rows.count === 0

        Item {
            Layout.fillHeight: true
        }
        Symbol {
            Layout.alignment: Qt.AlignHCenter
            color: Colors.velomiraGray4
            name: "chart.bar.xaxis"
            size: Math.round(TextStyles.largeTitle.pixelSize * 1.2)
        }
        StyledText {
            Layout.fillWidth: true
            color: Colors.velomiraGray2
            font: TextStyles.subheadline
            horizontalAlignment: Text.AlignHCenter
            text: qsTr("No data yet")
        }
        Item {
            Layout.fillHeight: true
        }
    }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 8
        visible: root.rows.count > 0

        Repeater {
            model: root.rows

            ColumnLayout {
                id: row

                required property string name
                required property real duration
                required property string durationText

                Accessible.name: row.name
                Accessible.description: row.durationText
                Accessible.role: Accessible.ListItem
                Layout.fillWidth: true
                spacing: 4

                RowLayout {
                    spacing: 8

                    StyledText {
                        id: label

                        Accessible.ignored: true
                        Layout.fillWidth: true
                        Layout.minimumWidth: 0
                        color: Colors.velomiraGray1
                        elide: Text.ElideMiddle
                        font: TextStyles.subheadline
                        maximumLineCount: 1
                        text: row.name
                        wrapMode: Text.NoWrap
                    }
                    StyledText {
                        Accessible.ignored: true
                        color: Colors.velomiraGray2
                        font: TextStyles.captionDigits
                        text: row.durationText
                    }
                }
                Rectangle {
                    id: track

                    Layout.fillWidth: true
                    color: Colors.velomiraGray5
                    implicitHeight: 6
                    radius: 3

                    Rectangle {
                        color: root.iconColor
                        height: parent.height
                        radius: 3
                        width: root.rows.barWidth(track.width, row.duration, root.rows.maxDuration)
                    }
                }
                HoverHandler {
                    id: hover
                }
                Tip {
                    active: hover.hovered && label.truncated
                    text: row.name + "\n" + row.durationText
                }
            }
        }
    }
}
