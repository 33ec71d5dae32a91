// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/window_actions.h"

#include "app/shell/app_menu.h"

namespace views {

WindowActions::WindowActions(shell::AppMenu& menu, QObject* parent)
    : QObject(parent)
    , m_menu(menu)
{
}

QStringList WindowActions::shortcuts()
{
    // All there can be: rows come and go with the state, the window stays.
    return {QStringLiteral("Ctrl+D"), QStringLiteral("Ctrl+,"), QStringLiteral("Ctrl+Q")};
}

void WindowActions::choose(const QString& shortcut)
{
    m_menu.chooseByShortcut(shortcut);
}

void WindowActions::close()
{
    Q_EMIT closeRequested();
}

} // namespace views
