// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/row_menu.h"

#include "base/text_scale.h"

#include <QAction>
#include <QEvent>
#include <QFont>
#include <QFontInfo>
#include <QGuiApplication>
#include <QKeySequence>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace platform::gui {

namespace {

constexpr QChar kMark(u'&');

/// Whether a row can become another one without being a new one to the desktop. What a row does is
/// part of it: a click on its way to one command must not meet another.
bool hasSamePlace(const MenuRow& one, const MenuRow& other)
{
    return one.kind == other.kind && one.font == other.font && one.shortcut == other.shortcut &&
           one.command == other.command;
}

int sizeOf(MenuRow::Font meant)
{
    constexpr int kHeadline = 13;
    constexpr int kSubheadline = 11;
    constexpr int kCaption = 10;
    constexpr int kBody = 13;
    switch (meant) {
    case MenuRow::Font::Headline:
        return kHeadline;
    case MenuRow::Font::Subheadline:
        return kSubheadline;
    case MenuRow::Font::Caption:
        return kCaption;
    case MenuRow::Font::Body:
        break;
    }
    return kBody;
}

/// `font`, the menu's, in the size that the windows have for the same, and as heavy.
QFont fontOf(MenuRow::Font meant, QFont font)
{
    const double points = QFontInfo(QGuiApplication::font()).pointSizeF();
    font.setPixelSize(static_cast<int>(std::lround(sizeOf(meant) * textScale(points))));
    font.setBold(meant == MenuRow::Font::Headline);
    return font;
}

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

RowMenu::RowMenu(Reader reader)
    : m_reader(reader)
{
    if (reader == Reader::Popup)
        qGuiApp->installEventFilter(this);
}

RowMenu::~RowMenu() = default;

bool RowMenu::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qGuiApp && event->type() == QEvent::ApplicationFontChange)
        updateFonts();
    return false;
}

void RowMenu::updateFonts()
{
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        if (m_rows[i].kind != MenuRow::Kind::Separator)
            m_actions[i]->setFont(fontOf(m_rows[i].font, m_menu.font()));
    }
}

void RowMenu::setRows(const std::vector<MenuRow>& rows)
{
    // What the lists have in common at both ends stays; only the middle is made anew.
    const auto head = static_cast<std::size_t>(
        std::ranges::mismatch(m_rows, rows, hasSamePlace).in1 - m_rows.begin());
    const std::size_t shorter = std::min(m_rows.size(), rows.size());
    std::size_t tail = 0;
    while (tail < shorter - head &&
           hasSamePlace(m_rows[m_rows.size() - 1 - tail], rows[rows.size() - 1 - tail]))
        ++tail;
    const std::size_t oldEnd = m_rows.size() - tail;
    const std::size_t newEnd = rows.size() - tail;

    std::vector<QAction*> actions(m_actions.begin(),
                                  m_actions.begin() + static_cast<std::ptrdiff_t>(head));
    for (std::size_t i = head; i < oldEnd; ++i) {
        m_menu.removeAction(m_actions[i]);
        m_actions[i]->deleteLater(); // it may be what has just been chosen
    }
    QAction* const before = tail > 0 ? m_actions[oldEnd] : nullptr;
    for (std::size_t i = head; i < newEnd; ++i)
        actions.push_back(insertRow(rows[i], before));
    actions.insert(
        actions.end(), m_actions.begin() + static_cast<std::ptrdiff_t>(oldEnd), m_actions.end());
    for (std::size_t i = 0; i < head; ++i)
        updateRow(*actions[i], m_rows[i], rows[i]);
    for (std::size_t i = 0; i < tail; ++i)
        updateRow(*actions[newEnd + i], m_rows[oldEnd + i], rows[newEnd + i]);
    m_actions = std::move(actions);
    m_rows = rows;
}

// Complete before it gets into the menu: the desktop learns of it once.
QAction* RowMenu::insertRow(const MenuRow& row, QAction* before)
{
    auto* const action = new QAction(&m_menu);
    if (row.kind == MenuRow::Kind::Separator) {
        action->setSeparator(true);
    } else {
        action->setText(written(row.text));
        action->setFont(fontOf(row.font, m_menu.font()));
        action->setEnabled(row.kind == MenuRow::Kind::Command && row.isEnabled);
        action->setMenuRole(QAction::NoRole);
    }
    if (row.kind == MenuRow::Kind::Command) {
        // Shown only: as a shortcut it would work in every window of the program.
        action->setShortcut(QKeySequence(row.shortcut, QKeySequence::PortableText));
        action->setShortcutContext(Qt::WidgetShortcut);
        action->setShortcutVisibleInContextMenu(true);
        connect(action, &QAction::triggered, this, [this, command = row.command] {
            Q_EMIT picked(command);
        });
    }
    m_menu.insertAction(before, action);
    return action;
}

void RowMenu::updateRow(QAction& action, const MenuRow& from, const MenuRow& to) const
{
    if (to.kind == MenuRow::Kind::Separator)
        return;
    if (from.text != to.text)
        action.setText(written(to.text));
    if (to.kind == MenuRow::Kind::Command)
        action.setEnabled(to.isEnabled);
}

QString RowMenu::written(const QString& text) const
{
    return m_reader == Reader::DBusMenu ? dbusMenuText(text) : popupText(text);
}

} // namespace platform::gui
