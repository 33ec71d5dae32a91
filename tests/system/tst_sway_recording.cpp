// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_sway.h"
#include "tests/support/test_program.h"
#include "tests/system/desktop_recording.h"

#include <QTest>

class TestSwayRecording final : public recording::DesktopRecording
{
    Q_OBJECT

protected:
    [[nodiscard]] std::unique_ptr<support::DesktopSession> makeSession() const override
    {
        return std::make_unique<support::HeadlessSway>();
    }

    [[nodiscard]] QString windowSource() const override
    {
        return QStringLiteral("wlr-foreign-toplevel");
    }

    [[nodiscard]] QString idleSource() const override
    {
        return QStringLiteral("org_kde_kwin_idle");
    }
};

QUILLSTEP_TEST(TestSwayRecording)
#include "tst_sway_recording.moc"
