// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace platform::gui {

/// The text of a QAction with which a QMenu shows exactly `text`: no ampersand underlines the next
/// letter. Control characters become spaces; a tab would begin a second column.
[[nodiscard]] QString popupText(const QString& text);

/// The text of a QAction whose QMenu is exported over com.canonical.dbusmenu, for hosts to show
/// exactly `text`. There an underscore marks the access key and two stand for one. Qt makes the
/// first ampersand such a mark, unless it is the last character, and leaves all others; so a text
/// with such an ampersand has the first letter before it underlined, or itself when there is none.
/// Nothing else can be said through Qt. (Xfce's panel takes underscores apart twice in such a text,
/// and so drops those of a name that has both.)
[[nodiscard]] QString dbusMenuText(const QString& text);

} // namespace platform::gui
