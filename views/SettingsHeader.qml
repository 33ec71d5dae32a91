// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

Rectangle {
    implicitHeight: column.implicitHeight + 48

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
        id: column

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
