// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

// A line of text with a rounded border.
T.TextField {
    id: root

    // Return was pressed in it.
    signal submitted

    Accessible.name: root.placeholderText
    Keys.onEnterPressed: root.submitted()
    Keys.onReturnPressed: root.submitted()
    activeFocusOnTab: true
    color: Colors.velomiraHeaderBg
    font: TextStyles.body
    hoverEnabled: true
    implicitHeight: contentHeight + topPadding + bottomPadding
    implicitWidth: 200
    leftPadding: 10
    rightPadding: 10
    topPadding: 7
    bottomPadding: 7
    selectByMouse: true
    selectedTextColor: "white"
    selectionColor: Colors.velomiraBlue
    verticalAlignment: TextInput.AlignVCenter

    background: Rectangle {
        border.color: root.activeFocus ? Colors.velomiraBlue : root.hovered ? Colors.velomiraGray3 : Colors.velomiraGray4
        border.width: 1
        color: "white"
        radius: 6

        FocusRing {
            control: root
        }
    }

    StyledText {
        Accessible.ignored: true
        anchors.fill: parent
        anchors.leftMargin: root.leftPadding
        anchors.rightMargin: root.rightPadding
        color: Colors.velomiraGray2
        font: root.font
        text: root.placeholderText
        verticalAlignment: Text.AlignVCenter
        visible: root.length === 0 && root.preeditText.length === 0
    }
}
