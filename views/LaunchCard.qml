// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

// Whether tracking goes on, which here means whether somebody is signed in, and whether it does so after
// the next login to the desktop.
SettingsCard {
    id: root

    required property SettingsModel model

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
