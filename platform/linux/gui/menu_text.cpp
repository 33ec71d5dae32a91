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
    const qsizetype first = label.indexOf(kMark);
    if (first < 0 || first == label.size() - 1)
        return label;
    // One more for Qt to take: before a letter, where it is what people know from menus. In front
    // of a surrogate pair or a space LXQt's panel would tear the one apart and make the other look
    // like an underscore.
    qsizetype at = 0;
    while (at < first && !label[at].isLetterOrNumber())
        ++at;
    label.insert(at, kMark);
    return label;
}

} // namespace platform::gui
