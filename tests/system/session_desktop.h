// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/choices.h"
#include "backends/desktops/choice/sources.h"
#include "backends/xdg/application_names.h"
#include "tests/platform/contract/desktop_contract.h"
#include "tests/support/desktop_session.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"

#include <QTest>

#include <algorithm>
#include <map>
#include <memory>

/// A real desktop whose sources are under test, for the contract that all desktops share.
class SessionDesktop final : public contract::Desktop
{
public:
    /// All must outlive this; no window may be open.
    SessionDesktop(support::DesktopSession& session,
                   platform::desktop::FrontWindowSource& windows,
                   platform::desktop::IdleSource& idleTime)
        : m_session(session)
        , m_names(QStringList())
        , m_windows(m_names)
        , m_idleTime(idleTime)
    {
        m_windows.add(windows);
    }

    [[nodiscard]] platform::IdleTime& idleTime() override { return m_idleTime; }

    [[nodiscard]] platform::FrontmostApplication& frontmostApplication() override
    {
        return m_windows;
    }

    [[nodiscard]] platform::WindowTitle& windowTitle() override { return m_windows; }

    void open(const QString& identifier, const std::optional<QString>& title) override
    {
        // Qt gives a window without a title the name of its program.
        using Toolkit = support::TestWindow::Toolkit;
        auto window = std::make_unique<support::TestWindow>(title ? Toolkit::Qt : Toolkit::Gtk);
        check(window->open(m_session.environment(), identifier, title));
        check(m_session.focus(*window));
        m_open[identifier] = std::move(window);
    }

    void focus(const QString& identifier) override
    {
        check(m_session.focus(*m_open.at(identifier)));
    }

    void setTitle(const QString& identifier, const QString& title) override
    {
        check(m_open.at(identifier)->setTitle(title));
    }

    void close(const QString& identifier) override
    {
        m_open.at(identifier)->close();
        m_open.erase(identifier);
    }

    void makeInput() override { check(m_session.makeInput()); }

    void letTimePass() override
    {
        double least = m_idleTime.secondsSinceLastInput(); // input may still be on its way
        const auto hasPassed = [&] {
            const double now = m_idleTime.secondsSinceLastInput();
            least = std::min(least, now);
            return now >= least + 1;
        };
        QTRY_VERIFY_WITH_TIMEOUT(hasPassed(), 10000);
    }

private:
    static void check(const platform::Outcome& outcome)
    {
        QVERIFY2(outcome, outcome ? "" : qPrintable(outcome.error().text));
    }

    support::DesktopSession& m_session;
    platform::xdg::ApplicationNames m_names;
    platform::desktop::WindowChoice m_windows;
    platform::desktop::IdleSource& m_idleTime;
    std::map<QString, std::unique_ptr<support::TestWindow>> m_open;
};
