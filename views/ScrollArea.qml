// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T
import Quillstep.Views

// Scrolls its one column up and down, also by the keys, and follows the keyboard's focus.
Flickable {
    id: root

    boundsBehavior: Flickable.StopAtBounds
    clip: true
    flickableDirection: Flickable.VerticalFlick

    readonly property Item focusItem: Window.activeFocusItem

    Keys.onDownPressed: root.scrollBy(40)
    Keys.onUpPressed: root.scrollBy(-40)
    onFocusItemChanged: root.reveal(root.focusItem)

    function scrollBy(distance: real) {
        root.contentY = Math.max(0, Math.min(root.contentHeight - root.height, root.contentY + distance));
    }

    function reveal(item: Item) {
        let ancestor = item;
        while (ancestor && ancestor !== root.contentItem)
            ancestor = ancestor.parent;
        if (!ancestor)
            return;
        const top = item.mapToItem(root.contentItem, 0, 0).y;
        if (top - 40 < root.contentY)
            root.scrollBy(top - 40 - root.contentY);
        else if (top + item.height + 40 > root.contentY + root.height)
            root.scrollBy(top + item.height + 40 - root.contentY - root.height);
    }

    T.ScrollBar.vertical: T.ScrollBar {
        id: bar

        Accessible.ignored: true
        hoverEnabled: true
        implicitWidth: 10
        minimumSize: 0.08
        padding: 2
        visible: bar.size < 1

        contentItem: Rectangle {
            color: bar.pressed ? Colors.velomiraGray2 : bar.hovered ? Colors.velomiraGray3 : Colors.velomiraGray4
            implicitHeight: 24
            implicitWidth: 6
            radius: 3
        }
    }
}
