// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/menu_text.h"

namespace platform::gui {

namespace {
constexpr QChar kMark(u'&');
} // namespace

QString popupText(const QString& text)
{
    QString shown = text;
    for (QChar& character : shown) {
        if (character.category() == QChar::Other_Control)
            character = QChar(QChar::Space);
    }
    return shown.replace(kMark, QStringLiteral("&&"));
}

QString dbusMenuText(const QString& text)
{
    QString label = text;
    label.replace(u'_', QStringLiteral("__"));
    // One more in front for Qt to take. Doubling the first would do too, but LXQt's panel then
    // underlines what follows it, and a space looks like an underscore.
    const qsizetype first = label.indexOf(kMark);
    if (first >= 0 && first < label.size() - 1)
        label.prepend(kMark);
    return label;
}

} // namespace platform::gui
