// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"
#include "platform/idle_time.h"
#include "platform/window_title.h"

#include <QObject>
#include <QString>

#include <optional>

namespace contract {

/// A desktop that a test can rule, with the facilities under test that observe it.
class Desktop
{
public:
    Desktop() = default;
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;
    virtual ~Desktop() = default;

    [[nodiscard]] virtual platform::IdleTime& idleTime() = 0;
    [[nodiscard]] virtual platform::FrontmostApplication& frontmostApplication() = 0;
    [[nodiscard]] virtual platform::WindowTitle& windowTitle() = 0;

    /// Opens a window and gives it the focus; a window of that identifier must not be open. As with
    /// what follows, the facilities may learn of it a moment later.
    virtual void open(const QString& identifier, const std::optional<QString>& title) = 0;
    /// Gives an open window the focus.
    virtual void focus(const QString& identifier) = 0;
    virtual void setTitle(const QString& identifier, const QString& title) = 0;
    virtual void close(const QString& identifier) = 0;
    /// A key press or a move of the pointer.
    virtual void makeInput() = 0;
    /// Lets a second pass without input.
    virtual void letTimePass() = 0;
};

/// What holds for the facilities on every desktop. A test class derives from it, and makes a fresh
/// desktop without windows for each function.
class DesktopContract : public QObject
{
    Q_OBJECT
protected:
    [[nodiscard]] virtual Desktop& desktop() = 0;

    /// For init(), where one session serves all functions: the facilities may learn late that the
    /// windows of the one before are gone.
    void waitUntilNothingIsInFront();

private Q_SLOTS:
    void withoutWindowsNothingIsInFront();
    void theFocusedWindowsApplicationIsInFront();
    void aChangeOfFocusIsSeen();
    void aTitleIsNeverThatOfAnotherWindow();
    void aChangeOfTitleIsSeen();
    void aWindowMayHaveNoTitleOrAnEmptyOne();
    void aClosedWindowIsNotInFront();
    void aWindowThatHasGoneHasNoTitle();
    void idleTimeGrowsAndInputResetsIt();
    void questionsMayComeInAnyOrder();

private:
    [[nodiscard]] QString frontIdentifier();
    [[nodiscard]] std::optional<QString> frontTitle();
};

} // namespace contract
