// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/platform/contract/desktop_contract.h"
#include "tests/support/headless_x11.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"
#include "tests/system/xdotool.h"

#include <QRegularExpression>
#include <QTest>

#include <map>
#include <memory>

using namespace Qt::StringLiterals;
using support::HeadlessX11;
using support::X11TestWindow;

namespace {
class X11Desktop final : public contract::Desktop
{
public:
    X11Desktop(const HeadlessX11& desktop, std::unique_ptr<X11Observer> observer)
        : m_desktop(desktop)
        , m_observer(std::move(observer))
    {
    }

    [[nodiscard]] platform::IdleTime& idleTime() override { return m_observer->idleTime; }

    [[nodiscard]] platform::FrontmostApplication& frontmostApplication() override
    {
        return m_observer->windows;
    }

    [[nodiscard]] platform::WindowTitle& windowTitle() override { return m_observer->windows; }

    void open(const QString& identifier, const std::optional<QString>& title) override
    {
        auto window = std::make_unique<X11TestWindow>(m_desktop.display());
        window->setClass(identifier.toUtf8(), identifier.toUtf8());
        if (title)
            window->setTitle(*title);
        QVERIFY(window->showAndFocus());
        m_windows[identifier] = std::move(window);
    }

    void focus(const QString& identifier) override { QVERIFY(m_windows.at(identifier)->focus()); }

    void setTitle(const QString& identifier, const QString& title) override
    {
        m_windows.at(identifier)->setTitle(title);
    }

    void close(const QString& identifier) override
    {
        m_windows.at(identifier)->destroy();
        m_windows.erase(identifier);
    }

    void makeInput() override { QVERIFY(xdotool(m_desktop, {u"key"_s, u"shift"_s})); }

    void letTimePass() override
    {
        // A second, so that no slow start of a program can be taken for it.
        const double before = idleTime().secondsSinceLastInput();
        QTRY_VERIFY(idleTime().secondsSinceLastInput() >= before + 1);
    }

private:
    const HeadlessX11& m_desktop;
    std::unique_ptr<X11Observer> m_observer;
    std::map<QString, std::unique_ptr<X11TestWindow>> m_windows;
};
} // namespace

class TestX11Contract final : public contract::DesktopContract
{
    Q_OBJECT
protected:
    [[nodiscard]] contract::Desktop& desktop() override { return *m_desktop; }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessX11::programs() << u"xdotool"_s);
        const auto started = m_server.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        auto observer = X11Observer::on(m_server.display());
        QVERIFY(observer);
        m_desktop = std::make_unique<X11Desktop>(m_server, std::move(observer));
    }

    void cleanup() { m_desktop.reset(); }

private:
    HeadlessX11 m_server;
    std::unique_ptr<X11Desktop> m_desktop;
};

QUILLSTEP_TEST(TestX11Contract)
#include "tst_x11_contract.moc"
