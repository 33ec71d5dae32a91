// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

Card {
    id: root

    required property DashboardModel model

    icon: "arrow.triangle.2.circlepath"
    iconColor: Colors.velomiraBlue
    title: qsTr("Sync Status")

    RowLayout {
        spacing: 8

        StatusDot {
            color: Colors.bySyncState[root.model.syncState]
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            RowLayout {
                spacing: 6

                StyledText {
                    Layout.fillWidth: !spinner.visible
                    color: Colors.bySyncState[root.model.syncState]
                    font: root.model.isSyncing ? TextStyles.subheadline : TextStyles.subheadlineBold
                    text: root.model.syncText
                }
                Spinner {
                    id: spinner

                    visible: root.model.isSyncing
                }
                Item {
                    Layout.fillWidth: true
                    visible: spinner.visible
                }
            }
            MessageText {
                Layout.fillWidth: true
                color: Colors.velomiraGray2
                font: TextStyles.caption
                text: root.model.syncDetail
                visible: text.length > 0
            }
        }
        ActionButton {
            description: qsTr("Sync Now")
            enabled: root.model.isAuthenticated
            foreground: Colors.velomiraBlue
            ground: Colors.velomiraAccentBlue
            implicitHeight: 32
            implicitWidth: 32
            horizontalPadding: 0
            showsText: false
            symbol: "arrow.clockwise"
            symbolSize: Math.round(TextStyles.body.pixelSize * 1.25)

            onClicked: root.model.sync()
        }
    }
}
