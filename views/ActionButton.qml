// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

// Every button of the windows: a symbol, a text or both on a rounded ground.
T.Button {
    id: root

    property string symbol
    property real symbolSize: Math.round(root.font.pixelSize * 1.25)
    property color foreground: "white"
    property color ground: Colors.velomiraBlue
    property color outline: "transparent"
    property color ringColor: Colors.velomiraBlueLight
    property real radius: 6
    property bool isBusy: false
    // What it is called where its text is not shown.
    property string description: root.text
    property bool showsText: true

    Accessible.name: root.description
    Keys.onEnterPressed: root.clicked()
    Keys.onReturnPressed: root.clicked()
    focusPolicy: Qt.StrongFocus
    font: TextStyles.body
    horizontalPadding: 12
    hoverEnabled: true
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    opacity: enabled ? 1 : 0.5
    verticalPadding: 6

    background: Rectangle {
        border.color: root.outline
        border.width: root.outline.a > 0 ? 1 : 0
        color: root.ground
        radius: root.radius

        // Darker or lighter than the ground, whichever shows.
        Rectangle {
            anchors.fill: parent
            color: root.ground.hslLightness > 0.6 || root.ground.a < 0.5 ? Colors.velomiraHeaderBg : "black"
            opacity: !root.enabled ? 0 : root.pressed ? 0.2 : root.hovered ? 0.09 : 0
            radius: root.radius

            Behavior on opacity {
                enabled: !DesktopStyle.reducesMotion

                NumberAnimation {
                    duration: 150
                }
            }
        }
        FocusRing {
            control: root
            controlRadius: root.radius
            ringColor: root.ringColor
        }
    }
    contentItem: ButtonContent {
        color: root.foreground
        isBusy: root.isBusy
        symbol: root.symbol
        symbolSize: root.symbolSize
        text: root.showsText ? root.text : ""
        textFont: root.font
    }

    Loader {
        active: !root.showsText && root.hovered

        sourceComponent: Tip {
            // A component may be declared bound to the names around it only from Qt 6.5 on.
            // qmllint disable unqualified
            parent: root
            text: root.description
            visible: true
            // qmllint enable unqualified
        }
    }
}
