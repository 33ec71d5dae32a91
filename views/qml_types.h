// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "views/desktop_style.h"
#include "views/models/account_model.h"
#include "views/models/dashboard_model.h"
#include "views/models/login_form.h"
#include "views/models/settings_model.h"
#include "views/qml_window_factory.h"

#include <qqml.h>

// The names under which the views know the C++ types. The types themselves know nothing of QML.

namespace views::qml {

struct DesktopStyleType
{
    Q_GADGET
    QML_FOREIGN(views::DesktopStyle)
    QML_NAMED_ELEMENT(DesktopStyle)
    QML_SINGLETON
};

struct ActivityRowsType
{
    Q_GADGET
    QML_FOREIGN(views::ActivityRows)
    QML_NAMED_ELEMENT(ActivityRows)
    QML_UNCREATABLE("belongs to the dashboard")
};

struct AccountModelType
{
    Q_GADGET
    QML_FOREIGN(views::AccountModel)
    QML_NAMED_ELEMENT(AccountModel)
    QML_UNCREATABLE("comes with the window")
};

struct DashboardModelType
{
    Q_GADGET
    QML_FOREIGN(views::DashboardModel)
    QML_NAMED_ELEMENT(DashboardModel)
    QML_UNCREATABLE("comes with the window")
};

struct LoginFormType
{
    Q_GADGET
    QML_FOREIGN(views::LoginForm)
    QML_NAMED_ELEMENT(LoginForm)
    QML_UNCREATABLE("comes with the window")
};

struct SettingsModelType
{
    Q_GADGET
    QML_FOREIGN(views::SettingsModel)
    QML_NAMED_ELEMENT(SettingsModel)
    QML_UNCREATABLE("comes with the window")
};

struct WindowActionsType
{
    Q_GADGET
    QML_FOREIGN(views::WindowActions)
    QML_NAMED_ELEMENT(WindowActions)
    QML_UNCREATABLE("comes with the window")
};

} // namespace views::qml
