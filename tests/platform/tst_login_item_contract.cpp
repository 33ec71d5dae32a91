// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/fakes/fake_login_item.h"
#include "tests/platform/contract/login_item_contract.h"
#include "tests/support/test_program.h"

#include <QTest>

class TestLoginItemContract final : public contract::LoginItemContract
{
    Q_OBJECT
protected:
    [[nodiscard]] platform::LoginItem& item() override { return *m_item; }

    void switchOffElsewhere() override { m_item->enabled = false; }

    void makeFailing() override { m_item->fault = QStringLiteral("cannot"); }

private Q_SLOTS:

    void init() { m_item = std::make_unique<fakes::FakeLoginItem>(); }

private:
    std::unique_ptr<fakes::FakeLoginItem> m_item;
};

QUILLSTEP_TEST(TestLoginItemContract)
#include "tst_login_item_contract.moc"
