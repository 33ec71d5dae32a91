// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
pragma Singleton

import QtQuick
import Quillstep.Views

// The fonts of the windows: the desktop's own, in sizes that follow the desktop's size of text.
QtObject {
    id: root

    readonly property font largeTitle: root.sized(26, Font.Normal)
    readonly property font title: root.sized(22, Font.Normal)
    readonly property font titleBold: root.sized(22, Font.Bold)
    readonly property font title2Bold: root.sized(17, Font.Bold)
    readonly property font title3: root.sized(15, Font.Normal)
    readonly property font headline: root.sized(13, Font.Bold)
    readonly property font body: root.sized(13, Font.Normal)
    readonly property font subheadline: root.sized(11, Font.Normal)
    readonly property font subheadlineBold: root.sized(11, Font.Bold)
    readonly property font caption: root.sized(10, Font.Normal)
    readonly property font captionBold: root.sized(10, Font.Bold)
    readonly property font caption2: root.sized(10, Font.Normal)
    // The digits of every font that desktops come with are equally wide.
    readonly property font captionDigits: root.caption
    readonly property font captionMonospaced: Qt.font({
        family: DesktopStyle.fixedFontFamily,
        pixelSize: root.caption.pixelSize
    })

    function sized(size: int, weight: int): font {
        return Qt.font({
            family: DesktopStyle.fontFamily,
            pixelSize: Math.round(size * DesktopStyle.textScale),
            weight: weight
        });
    }
}
