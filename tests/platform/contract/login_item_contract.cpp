// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/platform/contract/login_item_contract.h"

#include <QTest>

namespace contract {

void LoginItemContract::atFirstItIsNotEnabled()
{
    QVERIFY(!item().isEnabled());
}

void LoginItemContract::registeringEnablesItAndUnregisteringDisablesIt()
{
    for (int round = 0; round < 2; ++round) {
        QVERIFY(item().setEnabled(true));
        QVERIFY(item().isEnabled());
        QVERIFY(item().setEnabled(false));
        QVERIFY(!item().isEnabled());
    }
}

void LoginItemContract::askingForWhatIsAlreadySoSucceeds()
{
    QVERIFY(item().setEnabled(false));
    QVERIFY(!item().isEnabled());
    QVERIFY(item().setEnabled(true));
    QVERIFY(item().setEnabled(true));
    QVERIFY(item().isEnabled());
}

void LoginItemContract::whatTheUserChangesElsewhereIsSeen()
{
    QVERIFY(item().setEnabled(true));
    switchOffElsewhere();
    QVERIFY(!item().isEnabled());
}

void LoginItemContract::itCanBeEnabledAgainAfterAChangeElsewhere()
{
    QVERIFY(item().setEnabled(true));
    switchOffElsewhere();
    QVERIFY(item().setEnabled(true));
    QVERIFY(item().isEnabled());
}

void LoginItemContract::aFailureSaysWhyAndChangesNothing()
{
    makeFailing();
    const platform::Outcome outcome = item().setEnabled(true);
    QVERIFY(!outcome);
    QVERIFY(!outcome.error().text.isEmpty());
    QVERIFY(!item().isEnabled());
}

} // namespace contract
