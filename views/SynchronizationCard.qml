// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

SettingsCard {
    id: root

    required property SettingsModel model

    icon: "arrow.triangle.2.circlepath"
    iconColor: Colors.velomiraOrange
    title: qsTr("Synchronization")

    RowLayout {
        spacing: 8

        StatusDot {
            color: Colors.bySyncState[root.model.syncState]
        }
        ColumnLayout {
            spacing: 2

            StyledText {
                Layout.fillWidth: true
                color: root.model.syncState === AccountModel.Active ? Colors.velomiraBlue : Colors.bySyncState[root.model.syncState]
                font: TextStyles.subheadlineBold
                text: root.model.syncText
            }
            MessageText {
                Layout.fillWidth: true
                color: Colors.velomiraGray2
                font: TextStyles.caption
                text: root.model.syncError
                visible: root.model.hasSyncError
            }
        }
    }
    GridLayout {
        Layout.bottomMargin: 12
        Layout.topMargin: 12
        columnSpacing: 10
        columns: 2
        rowSpacing: 12

        StatBox {
            icon: "clock"
            title: qsTr("Last Sync")
            value: root.model.lastSync
        }
        StatBox {
            icon: "doc.text"
            title: qsTr("Records (Last)")
            value: root.model.lastRecordCount
        }
        StatBox {
            icon: "chart.bar"
            title: qsTr("Total Synced")
            value: root.model.totalSynced
        }
        StatBox {
            icon: "timer"
            title: qsTr("Interval")
            value: root.model.interval + qsTr(" min")
        }
    }
    StyledText {
        Layout.fillWidth: true
        color: Colors.velomiraGray2
        font: TextStyles.caption
        text: qsTr("Sync Interval: ") + root.model.interval + qsTr(" minutes")
    }
    ValueSlider {
        Layout.fillWidth: true
        Layout.topMargin: -6
        from: 1
        label: qsTr("Sync Interval")
        setting: root.model.intervalSlider
        stepSize: 1
        to: 60

        onPicked: wanted => root.model.moveIntervalSlider(wanted)
    }
    ActionButton {
        Layout.fillWidth: true
        enabled: root.model.isAuthenticated && !root.model.isSyncing
        symbol: "arrow.clockwise"
        text: qsTr("Sync Now")
        verticalPadding: 8

        onClicked: root.model.sync()
    }
}
