// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import Quillstep.Views

// One of several, all in sight. The arrow keys go from one to the next.
FocusScope {
    id: root

    required property string label
    required property list<string> segments
    required property int selected

    signal picked(int index)

    Accessible.name: root.label
    Accessible.role: Accessible.PageTabList
    activeFocusOnTab: true
    implicitHeight: Math.max(28, TextStyles.body.pixelSize + 14)
    implicitWidth: 130 * root.segments.length

    Keys.onLeftPressed: root.pick(root.selected - 1)
    Keys.onRightPressed: root.pick(root.selected + 1)

    function pick(index: int) {
        if (index >= 0 && index < root.segments.length)
            root.picked(index);
    }

    Rectangle {
        anchors.fill: parent
        color: "#1A1E3A5F"
        radius: 8
    }
    Row {
        anchors.fill: parent
        anchors.margins: 2

        Repeater {
            model: root.segments

            Item {
                id: segment

                required property int index
                required property string modelData
                readonly property bool isSelected: segment.index === root.selected

                Accessible.checkable: true
                Accessible.checked: segment.isSelected
                Accessible.name: segment.modelData
                Accessible.role: Accessible.RadioButton
                height: parent.height
                width: parent.width / root.segments.length

                Accessible.onPressAction: root.pick(segment.index)
                Accessible.onToggleAction: root.pick(segment.index)

                Rectangle {
                    anchors.fill: parent
                    border.color: "#14000000"
                    border.width: segment.isSelected ? 1 : 0
                    color: segment.isSelected ? "white" : hover.hovered ? "#80FFFFFF" : "transparent"
                    radius: 6
                }
                StyledText {
                    Accessible.ignored: true
                    anchors.fill: parent
                    color: segment.isSelected ? Colors.velomiraHeaderBg : Colors.velomiraGray1
                    horizontalAlignment: Text.AlignHCenter
                    text: segment.modelData
                    verticalAlignment: Text.AlignVCenter
                }
                HoverHandler {
                    id: hover
                }
                TapHandler {
                    onTapped: {
                        root.forceActiveFocus(Qt.MouseFocusReason);
                        root.pick(segment.index);
                    }
                }
            }
        }
    }
    FocusRing {
        control: root
        controlRadius: 8
    }
}
