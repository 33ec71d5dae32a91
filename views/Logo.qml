// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

// The logo, or a symbol where it is missing.
Item {
    id: root

    required property real size
    required property color fallbackColor

    Accessible.ignored: true
    implicitHeight: root.size
    implicitWidth: DesktopStyle.hasLogo ? image.width : symbol.width

    Image {
        id: image

        anchors.verticalCenter: parent.verticalCenter
        fillMode: Image.PreserveAspectFit
        height: root.size
        mipmap: true
        source: DesktopStyle.hasLogo ? "qrc:/logo.png" : ""
        sourceSize.height: root.size * 2
        visible: DesktopStyle.hasLogo
    }
    Symbol {
        id: symbol

        anchors.verticalCenter: parent.verticalCenter
        color: root.fallbackColor
        name: DesktopStyle.hasLogo ? "" : "brain.head.profile"
        size: Math.round(TextStyles.title.pixelSize * 1.2)
        visible: !DesktopStyle.hasLogo
    }
}
