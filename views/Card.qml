// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

// A white card with a heading, above the shadow that it throws.
Item {
    id: root

    required property string title
    required property string icon
    required property color iconColor
    default property alias content: column.data

    Accessible.name: root.title
    Accessible.role: Accessible.Grouping
    implicitHeight: column.implicitHeight + 32
    implicitWidth: column.implicitWidth + 32

    // Black at 5 %, blurred by 4, and here 2 further down; the picture has 16 around the card
    // (tools/artwork/card_shadow.h; scripts/draw_artwork.sh draws it).
    BorderImage {
        anchors.bottomMargin: -18
        anchors.fill: parent
        anchors.leftMargin: -16
        anchors.rightMargin: -16
        anchors.topMargin: -14
        border.bottom: 40
        border.left: 40
        border.right: 40
        border.top: 40
        source: "images/card_shadow.png"
    }
    Rectangle {
        anchors.fill: parent
        color: "white"
        radius: 12
    }
    ColumnLayout {
        id: column

        anchors.left: parent.left
        anchors.margins: 16
        anchors.right: parent.right
        anchors.top: parent.top
        spacing: 12

        RowLayout {
            spacing: 8

            Symbol {
                color: root.iconColor
                name: root.icon
                size: Math.round(TextStyles.headline.pixelSize * 1.3)
            }
            StyledText {
                Accessible.role: Accessible.Heading
                Layout.fillWidth: true
                color: Colors.velomiraHeaderBg
                font: TextStyles.headline
                text: root.title
            }
        }
    }
}
