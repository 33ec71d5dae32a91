// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

ColumnLayout {
    id: root

    required property string name
    required property real duration
    required property string durationText
    required property color accent
    required property ActivityRows rows

    Accessible.name: root.name
    Accessible.description: root.durationText
    Accessible.role: Accessible.ListItem
    spacing: 4

    RowLayout {
        spacing: 8

        StyledText {
            id: label

            Accessible.ignored: true
            Layout.fillWidth: true
            Layout.minimumWidth: 0
            color: Colors.velomiraGray1
            elide: Text.ElideMiddle
            font: TextStyles.subheadline
            maximumLineCount: 1
            text: root.name
            wrapMode: Text.NoWrap
        }
        StyledText {
            Accessible.ignored: true
            color: Colors.velomiraGray2
            font: TextStyles.captionDigits
            text: root.durationText
        }
    }
    Rectangle {
        id: track

        Layout.fillWidth: true
        color: Colors.velomiraGray5
        implicitHeight: 6
        radius: 3

        Rectangle {
            color: root.accent
            height: parent.height
            radius: 3
            width: root.rows.barWidth(track.width, root.duration, root.rows.maxDuration)
        }
    }
    HoverHandler {
        id: hover
    }
    Loader {
        active: hover.hovered && label.truncated
        visible: false

        sourceComponent: Tip {
            // A component may be declared bound to the names around it only from Qt 6.5 on.
            // qmllint disable unqualified
            parent: root
            text: root.name + "\n" + root.durationText
            visible: true
            // qmllint enable unqualified
        }
    }
}
