// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_gnome.h"
#include "tests/support/test_program.h"
#include "tests/system/desktop_recording.h"

#include <QTest>

class TestGnomeRecording final : public recording::DesktopRecording
{
    Q_OBJECT

protected:
    [[nodiscard]] std::unique_ptr<support::DesktopSession> makeSession() const override
    {
        return std::make_unique<support::HeadlessGnome>();
    }

    [[nodiscard]] QString windowSource() const override
    {
        return QStringLiteral("GNOME Shell extension");
    }

    [[nodiscard]] QString idleSource() const override
    {
        return QStringLiteral("org.gnome.Mutter.IdleMonitor");
    }
};

QUILLSTEP_TEST(TestGnomeRecording)
#include "tst_gnome_recording.moc"
