// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import Quillstep.Views

// Text as it stands: names and messages come from elsewhere and are never markup.
Text {
    id: root

    color: Colors.velomiraGray1
    elide: Text.ElideRight
    font: TextStyles.body
    horizontalAlignment: Text.AlignLeft
    textFormat: Text.PlainText

    Accessible.name: root.text
    Accessible.role: Accessible.StaticText
}
