// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_kwin.h"
#include "tests/support/test_program.h"
#include "tests/system/desktop_recording.h"

#include <QTest>

class TestKWinRecording final : public recording::DesktopRecording
{
    Q_OBJECT

protected:
    [[nodiscard]] std::unique_ptr<support::DesktopSession> makeSession() const override
    {
        return std::make_unique<support::HeadlessKWin>();
    }

    [[nodiscard]] QString windowSource() const override { return QStringLiteral("KWin script"); }

    [[nodiscard]] QString idleSource() const override
    {
        return QStringLiteral("ext_idle_notifier_v1");
    }
};

QUILLSTEP_TEST(TestKWinRecording)
#include "tst_kwin_recording.moc"
