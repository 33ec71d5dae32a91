// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/fakes/fake_frontmost_application.h"
#include "tests/fakes/fake_idle_time.h"
#include "tests/fakes/fake_window_title.h"
#include "tests/platform/contract/desktop_contract.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {
/// The fakes, kept in the state that a real desktop would be in.
class FakeDesktop final : public contract::Desktop
{
public:
    [[nodiscard]] platform::IdleTime& idleTime() override { return m_idleTime; }

    [[nodiscard]] platform::FrontmostApplication& frontmostApplication() override
    {
        return m_frontmostApplication;
    }

    [[nodiscard]] platform::WindowTitle& windowTitle() override { return m_windowTitle; }

    void open(const QString& identifier, const std::optional<QString>& title) override
    {
        m_stack.push_back({.localizedName = identifier,
                           .bundleIdentifier = identifier,
                           .processIdentifier = 0,
                           .window = ++m_lastWindow});
        if (title)
            setTitle(identifier, *title);
        showTop();
    }

    void focus(const QString& identifier) override
    {
        std::rotate(find(identifier), find(identifier) + 1, m_stack.end());
        showTop();
    }

    void setTitle(const QString& identifier, const QString& title) override
    {
        m_windowTitle.titles[find(identifier)->window] = title;
    }

    void close(const QString& identifier) override
    {
        m_windowTitle.titles.erase(find(identifier)->window);
        m_stack.erase(find(identifier));
        showTop();
    }

    void makeInput() override { m_idleTime.seconds = 0; }

    void letTimePass() override { m_idleTime.seconds += 1; }

private:
    std::vector<platform::Application>::iterator find(const QString& identifier)
    {
        return std::ranges::find(
            m_stack, std::optional(identifier), &platform::Application::bundleIdentifier);
    }

    void showTop()
    {
        m_frontmostApplication.application =
            m_stack.empty() ? std::nullopt : std::optional(m_stack.back());
    }

    fakes::FakeIdleTime m_idleTime;
    fakes::FakeFrontmostApplication m_frontmostApplication;
    fakes::FakeWindowTitle m_windowTitle;
    std::vector<platform::Application> m_stack; // the one in front last
    std::uint64_t m_lastWindow = 0;
};
} // namespace

class TestDesktopContract final : public contract::DesktopContract
{
    Q_OBJECT
protected:
    [[nodiscard]] contract::Desktop& desktop() override { return *m_desktop; }

private Q_SLOTS:

    void init() { m_desktop = std::make_unique<FakeDesktop>(); }

private:
    std::unique_ptr<FakeDesktop> m_desktop;
};

QUILLSTEP_TEST(TestDesktopContract)
#include "tst_desktop_contract.moc"
