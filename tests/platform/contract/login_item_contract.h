// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/login_item.h"

#include <QObject>

namespace contract {

/// What holds for every login item. A test class derives from it, and makes a fresh one that is
/// not enabled for each function.
class LoginItemContract : public QObject
{
    Q_OBJECT
protected:
    [[nodiscard]] virtual platform::LoginItem& item() = 0;
    /// Switches it off as the user can in the desktop's own settings.
    virtual void switchOffElsewhere() = 0;
    /// From now on it cannot be registered.
    virtual void makeFailing() = 0;

private Q_SLOTS:
    void atFirstItIsNotEnabled();
    void registeringEnablesItAndUnregisteringDisablesIt();
    void askingForWhatIsAlreadySoSucceeds();
    void whatTheUserChangesElsewhereIsSeen();
    void itCanBeEnabledAgainAfterAChangeElsewhere();
    void aFailureSaysWhyAndChangesNothing();
};

} // namespace contract
