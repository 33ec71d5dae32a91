// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/menu_row.h"

#include <QObject>

#include <vector>

namespace platform {

/// The program's icon among the desktop's status icons, with its menu. The icon is there whenever
/// the desktop has a place for it, from the start or later on; without one nothing is missing but
/// the icon.
/// Main thread; never waits for the desktop.
class StatusItem : public QObject
{
    Q_OBJECT

public:
    /// Shows `rows` from now on, also in a menu that is open. Called as often as one likes: rows
    /// that are as before stay untouched.
    virtual void setRows(const std::vector<MenuRow>& rows) = 0;

Q_SIGNALS:
    /// The menu is about to be shown. Rows set meanwhile are shown at once.
    void aboutToShow();

    /// The user chose the row with this command.
    void chosen(int command);
};

} // namespace platform
