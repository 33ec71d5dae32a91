// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

// A text that leads out of the program.
T.AbstractButton {
    id: root

    property string symbol
    property color color: Colors.velomiraBlue

    Accessible.name: root.text
    Accessible.role: Accessible.Link
    Keys.onEnterPressed: root.clicked()
    Keys.onReturnPressed: root.clicked()
    focusPolicy: Qt.StrongFocus
    font: TextStyles.body
    hoverEnabled: true
    implicitHeight: implicitContentHeight
    implicitWidth: implicitContentWidth

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }
    FocusRing {
        control: root
        controlRadius: 3
    }

    contentItem: ButtonContent {
        color: root.pressed ? Colors.velomiraBlueDark : root.color
        isCentered: false
        symbol: root.symbol
        symbolSize: Math.round(root.font.pixelSize * 1.2)
        text: root.text
        textFont.family: root.font.family
        textFont.pixelSize: root.font.pixelSize
        textFont.underline: root.hovered || root.activeFocus
    }
}
