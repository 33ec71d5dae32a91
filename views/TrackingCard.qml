// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

Card {
    id: root

    required property DashboardModel model
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
            foreground: root.toggleColor
            ground: Colors.withOpacity(root.toggleColor, 0.1)
            symbol: root.model.isTracking ? "pause.fill" : "play.fill"
            text: root.model.isTracking ? qsTr("Pause") : qsTr("Resume")

            onClicked: root.model.toggleTracking()
        }
    }
}
