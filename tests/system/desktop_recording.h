// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/desktop_session.h"
#include "tests/support/test_window.h"
#include "tests/system/recorder.h"

#include <QObject>
#include <QString>

#include <memory>

namespace recording {

/// What is recorded on a desktop must be what its user did: the same on each kind, with everything
/// real from the compositor to the file. A test class derives from it and names the desktop; one
/// session serves all functions.
class DesktopRecording : public QObject
{
    Q_OBJECT

protected:
    /// The desktop to start, not started yet.
    [[nodiscard]] virtual std::unique_ptr<support::DesktopSession> makeSession() const = 0;

    /// What --diagnose is to name for the front window and the idle time.
    [[nodiscard]] virtual QString windowSource() const = 0;
    [[nodiscard]] virtual QString idleSource() const = 0;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void twentyChangesAreRecordedExactly();
    void anEmptyWorkspaceGivesNoSample();
    void idleTimeCountsUpAndInputResetsIt();
    void aFloodOfTitlesEndsWithTheLastOne();
    void whatAnswersIsNamed();
    void theProgramRecordsAndEndsInOrderWhenTheDisplayGoes();

private:
    /// The first function does, and the one after the end of a session.
    void openSession();
    void closeSession();
    [[nodiscard]] bool open(support::TestWindow& window, const QString& identifier);

    std::unique_ptr<support::DesktopSession> m_session;
    std::unique_ptr<support::TestWindow> m_qt;
    std::unique_ptr<support::TestWindow> m_gtk;
    std::unique_ptr<Recorder> m_recorder;
};

} // namespace recording
