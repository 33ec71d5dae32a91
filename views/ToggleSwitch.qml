// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

T.Switch {
    id: root

    required property string label

    Accessible.name: root.label
    // Of themselves they would change what is shown and tell nobody.
    Accessible.onPressAction: root.switchOver()
    Accessible.onToggleAction: root.switchOver()
    Keys.onEnterPressed: root.switchOver()
    Keys.onReturnPressed: root.switchOver()
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true
    implicitHeight: 22
    implicitWidth: 38
    opacity: enabled ? 1 : 0.5

    // As a click does.
    function switchOver() {
        root.toggle();
        root.toggled();
    }

    indicator: Rectangle {
        color: root.checked ? Colors.velomiraBlue : Colors.velomiraGray3
        height: root.height
        radius: height / 2
        width: root.width

        Rectangle {
            color: "white"
            height: parent.height - 4
            radius: height / 2
            width: root.down ? height + 3 : height
            x: root.checked ? parent.width - width - 2 : 2
            y: 2

            Behavior on x {
                enabled: !DesktopStyle.reducesMotion

                NumberAnimation {
                    duration: 150
                }
            }
        }
        FocusRing {
            control: root
            controlRadius: root.height / 2
        }
    }
}
