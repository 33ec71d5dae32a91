// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/menu_row.h"

#include <QMenu>
#include <QObject>
#include <QString>

#include <cstdint>
#include <vector>

class QAction;

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

/// A QMenu that shows rows. As a popup it has the desktop's font for menus, in sizes that follow
/// the desktop's size of text as those of the windows do, also when it changes. Main thread.
class RowMenu final : public QObject
{
    Q_OBJECT

public:
    /// Who draws the menu, and so how its texts are written down.
    enum class Reader : std::uint8_t {
        Popup,    ///< Qt, as a window
        DBusMenu, ///< the desktop, over com.canonical.dbusmenu
    };

    explicit RowMenu(Reader reader);
    ~RowMenu() override;

    /// Shows `rows`. What is as before is not touched, not even by a signal to the desktop; where
    /// only the text or the enabling of a row differs, it changes in place, also while open.
    void setRows(const std::vector<MenuRow>& rows);

    [[nodiscard]] QMenu& menu() { return m_menu; }

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /// The user chose the row with this command. Comes from inside the menu: what it does must not
    /// take the menu's rows away before it returns to the event loop.
    void picked(int command);

private:
    void updateFonts();
    QAction* insertRow(const MenuRow& row, QAction* before);
    void updateRow(QAction& action, const MenuRow& from, const MenuRow& to) const;
    [[nodiscard]] QString written(const QString& text) const;

    Reader m_reader;
    std::vector<MenuRow> m_rows;
    std::vector<QAction*> m_actions; // of m_rows, owned by m_menu
    QMenu m_menu;
};

} // namespace platform::gui
