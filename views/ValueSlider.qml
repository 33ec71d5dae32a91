// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

T.Slider {
    id: root

    required property string label
    // What the slider is to show.
    required property real setting

    // The user wants another value, by whatever means: a screen reader only sets the value.
    signal picked(wanted: real)

    Accessible.name: root.label
    Keys.onPressed: event => {
        event.accepted = event.key === Qt.Key_Home || event.key === Qt.Key_End;
        if (event.accepted)
            root.picked(event.key === Qt.Key_Home ? root.from : root.to);
    }
    onValueChanged: {
        if (root.value !== Math.min(root.to, Math.max(root.from, root.setting)))
            root.picked(root.value);
    }
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true
    implicitHeight: 24
    implicitWidth: 200
    snapMode: T.Slider.SnapAlways
    value: root.setting

    background: Rectangle {
        color: Colors.velomiraGray5
        height: 4
        radius: 2
        width: root.availableWidth
        x: root.leftPadding
        y: (root.height - height) / 2

        Rectangle {
            color: Colors.velomiraBlue
            height: parent.height
            radius: 2
            width: root.visualPosition * (parent.width - root.handle.width) + root.handle.width / 2
        }
    }
    handle: Rectangle {
        border.color: root.pressed ? Colors.velomiraBlueDark : root.hovered ? Colors.velomiraBlue : Colors.velomiraGray3
        border.width: 1
        color: root.pressed ? Colors.velomiraAccentBlue : "white"
        height: 18
        radius: 9
        width: 18
        x: root.leftPadding + root.visualPosition * (root.availableWidth - width)
        y: (root.height - height) / 2

        FocusRing {
            control: root
            controlRadius: 9
        }
    }
}
