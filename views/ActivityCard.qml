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

            ActivityRow {
                Layout.fillWidth: true
                accent: root.iconColor
                rows: root.rows
            }
        }
    }
}
