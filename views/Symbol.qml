// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick

// One of our symbols in one colour, as sharp as the screen. A picture only: what it stands for is said by
// what it belongs to.
Image {
    id: root

    required property string name
    required property color color
    required property real size

    fillMode: Image.PreserveAspectFit
    height: root.size
    source: root.name.length > 0 ? "image://symbol/" + root.name + "?" + root.color : ""
    sourceSize.height: root.size
    sourceSize.width: root.size
    width: root.size
}
