// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tests/support/x11_session.h"
#include "tests/system/desktop_recording.h"

#include <QTest>

class TestX11Recording final : public recording::DesktopRecording
{
    Q_OBJECT

protected:
    [[nodiscard]] std::unique_ptr<support::DesktopSession> makeSession() const override
    {
        return std::make_unique<support::X11Session>();
    }

    [[nodiscard]] QString windowSource() const override { return QStringLiteral("EWMH"); }

    [[nodiscard]] QString idleSource() const override { return QStringLiteral("MIT-SCREEN-SAVER"); }
};

QUILLSTEP_TEST(TestX11Recording)
#include "tst_x11_recording.moc"
