// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPatienceMs = 30000;

/// What a browser offers to the extension's script, and a clock that the test moves. Two windows,
/// 1 in front with the tabs 10, which is shown, and 11, and 2 with the tab 20.
const QString kFakeBrowser = uR"js(
let now = 1000;
const timers = new Map();
let lastTimer = 0;
globalThis.setTimeout = (work, wait) => {
    timers.set(++lastTimer, { work, due: now + wait });
    return lastTimer;
};
globalThis.clearTimeout = (timer) => timers.delete(timer);
globalThis.performance = { now: () => now };
Date.now = () => now;

async function rest() {
    for (let i = 0; i < 20; ++i) {
        await null;
    }
}

async function pass(milliseconds, each = () => {}) {
    await rest();
    for (const end = now + milliseconds; now < end; ) {
        ++now;
        for (const [id, timer] of [...timers]) {
            if (timer.due <= now && timers.delete(id)) {
                timer.work();
            }
        }
        each();
        await rest();
    }
}

function signal() {
    const all = [];
    return { addListener: (one) => all.push(one), emit: (...values) => all.forEach((one) => one(...values)) };
}

const makeTab = (id, windowId, active) => ({
    id, windowId, active, incognito: false, url: `https://example.org/${id}`, title: `tab ${id}`
});
const tabs = [makeTab(10, 1, true), makeTab(11, 1, false), makeTab(20, 2, true)];
const tab = (id) => tabs.find((one) => one.id === id);
const NONE = -1;
let account = 1; // the window that has the focus, when it is asked for
let looks = 0;
const reports = []; // "time title address", or "time none"
const answerAfter = (value) => new Promise((resume) => setTimeout(() => resume(value), 2));

globalThis.browser = {
    runtime: {
        onInstalled: signal(),
        onStartup: signal(),
        connectNative: () => ({
            onDisconnect: signal(),
            postMessage: (page) =>
                reports.push(`${now} ${page.focused ? `${page.title} ${page.address}` : "none"}`)
        })
    },
    windows: {
        WINDOW_ID_NONE: NONE,
        onFocusChanged: signal(),
        onRemoved: signal(),
        getLastFocused: () => {
            ++looks;
            return answerAfter({ id: account === NONE ? 1 : account, focused: account !== NONE, incognito: false });
        }
    },
    tabs: {
        onActivated: signal(),
        onAttached: signal(),
        onReplaced: signal(),
        onUpdated: signal(),
        query: ({ windowId }) =>
            answerAfter(tabs.filter((one) => one.active && one.windowId === windowId).map((one) => ({ ...one })))
    }
};

function change(id, values) {
    Object.assign(tab(id), values);
    browser.tabs.onUpdated.emit(id, values, { ...tab(id) });
}
const announce = (window) => browser.windows.onFocusChanged.emit(window);
function focus(window) {
    account = window;
    announce(window);
}
function show(id) {
    tabs.forEach((one) => (one.active = one.windowId === tab(id).windowId ? one.id === id : one.active));
    browser.tabs.onActivated.emit({ tabId: id, windowId: tab(id).windowId });
}
// One title for each so many milliseconds.
const retitling = (id, every) => () => now % every === 0 && change(id, { title: `at ${now}` });
function fresh() {
    looks = 0;
    reports.length = 0;
}
)js"_s;

} // namespace

/// The extension's script in a browser of the test's own: how often it asks and what it tells when.
class TestBrowserExtension final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(QStringList{u"gjs"_s});
        QFile script(QStringLiteral(EXTENSION_SCRIPT));
        QVERIFY(script.open(QIODevice::ReadOnly));
        m_script = QString::fromUtf8(script.readAll());
    }

    void aPageThatLoadsIsToldAtOnce()
    {
        QCOMPARE(run(u"change(10, { url: 'https://example.org/new' }); await pass(20);"
                     "change(10, { title: 'new' }); await pass(50);"
                     "change(10, { title: 'newer', status: 'complete' }); await pass(1000)"_s,
                     u"reports.join()"_s),
                 u"3004 tab 10 https://example.org/new,3054 new https://example.org/new,"
                 "3104 newer https://example.org/new"_s);
    }

    void aTitleOfTheTabInFrontIsToldWithoutAskingTheBrowser()
    {
        QCOMPARE(run(u"await pass(10000, retitling(10, 100)); await pass(60)"_s,
                     u"`${looks <= 10} ${reports.length}`"_s),
                 u"true 100"_s);
    }

    void aThousandTitlesASecondAreToldRarelyAndTheLastIsTold()
    {
        QCOMPARE(run(u"await pass(10000, retitling(10, 1)); await pass(500)"_s,
                     u"reports.length <= 30 ? reports.at(-1).slice(6, 14) : reports.length"_s),
                 u"at 13000"_s);
    }

    void aSeriesDelaysNoOtherTabOrWindowOrAddress()
    {
        QCOMPARE(run(u"await pass(5010, retitling(10, 1)); fresh(); show(11); await pass(60)"_s,
                     u"reports.at(-1).slice(5)"_s),
                 u"tab 11 https://example.org/11"_s);
        QCOMPARE(run(u"await pass(5010, retitling(10, 1)); fresh(); focus(2); await pass(60)"_s,
                     u"reports.at(-1).slice(5)"_s),
                 u"tab 20 https://example.org/20"_s);
        QCOMPARE(run(u"await pass(5010, retitling(10, 1)); fresh();"
                     "change(10, { url: 'https://example.org/new' }); await pass(60)"_s,
                     u"reports.at(-1).slice(-23)"_s),
                 u"https://example.org/new"_s);
    }

    void titlesBehindAreNotAskedFor()
    {
        QCOMPARE(run(u"await pass(10000, retitling(20, 100))"_s,
                     u"looks <= 10 && reports.length === 0"_s),
                 u"true"_s);
        QCOMPARE(
            run(u"focus(NONE); await pass(1000); fresh(); await pass(10000, retitling(10, 100))"_s,
                u"looks <= 10 && reports.length === 0"_s),
            u"true"_s);
    }

    void aTabThatIsShownIsToldAlsoBeforeItsEvent()
    {
        QCOMPARE(run(u"tab(10).active = false; change(11, { active: true, title: 'shown' });"
                     "await pass(60)"_s,
                     u"reports.at(-1).slice(5)"_s),
                 u"shown https://example.org/11"_s);
    }

    void aChangeWhileTheBrowserIsAskedIsNotLost()
    {
        QCOMPARE(run(u"show(11); await pass(3); change(11, { title: 'newer' }); await pass(60)"_s,
                     u"reports.at(-1).slice(5)"_s),
                 u"newer https://example.org/11"_s);
        QCOMPARE(run(u"show(11); await pass(1); announce(2); account = 2; await pass(60)"_s,
                     u"reports.at(-1).slice(5)"_s),
                 u"tab 20 https://example.org/20"_s);
    }

    void aChangeOfTheFocusIsAskedForOnceWhenTheBrowserAgrees()
    {
        QCOMPARE(run(u"focus(2); await pass(3000)"_s, u"`${looks} ${reports.join()}`"_s),
                 u"1 3004 tab 20 https://example.org/20"_s);
        QCOMPARE(run(u"focus(NONE); await pass(3000)"_s, u"`${looks} ${reports.join()}`"_s),
                 u"1 3002 none"_s);
    }

    void aBrowserThatLagsBehindItsWordIsAskedUntilItAgrees()
    {
        QCOMPARE(run(u"announce(2); await pass(300); account = 2; await pass(3000)"_s,
                     u"`${looks} ${reports.at(-1)}`"_s),
                 u"3 3404 tab 20 https://example.org/20"_s);
    }

    void whatANewerWordReplacesIsNotWaitedFor()
    {
        QCOMPARE(run(u"announce(2); await pass(100); focus(1); await pass(3000)"_s, u"looks"_s),
                 u"2"_s);
    }

    void whereTheBrowserNeverAgreesItsAccountCounts()
    {
        QCOMPARE(
            run(u"announce(2); await pass(3000); change(10, { title: 'new' }); await pass(10)"_s,
                u"`${looks} ${reports.at(-1).slice(5)}`"_s),
            u"5 new https://example.org/10"_s);
    }

    void aLossOfTheFocusThatIsNotAnnouncedIsSeenWithinASecond()
    {
        QCOMPARE(run(u"change(10, { title: 'new' }); await pass(100); account = NONE;"
                     "await pass(1100, retitling(10, 100))"_s,
                     u"reports.at(-1).slice(5)"_s),
                 u"none"_s);
    }

    void aPrivateTabIsNeverTold()
    {
        QCOMPARE(run(u"tab(20).incognito = true; focus(2); await pass(500); fresh();"
                     "await pass(3000, retitling(20, 100))"_s,
                     u"reports.length"_s),
                 u"0"_s);
    }

private:
    /// What `result` is after `scenario`, which begins at 3000, when the first page has long been
    /// told.
    [[nodiscard]] QString run(const QString& scenario, const QString& result) const
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath(u"scenario.js"_s));
        if (!file.open(QIODevice::WriteOnly))
            return u"not written"_s;
        const QString start = u"\n(async () => { await pass(2000); fresh();\n"_s;
        const QString end = u"\n})().catch((error) => print(error, error.stack));\n"_s;
        file.write(
            (kFakeBrowser + m_script + start + scenario + u";\nprint("_s + result + u")"_s + end)
                .toUtf8());
        file.close();
        QProcess program;
        program.setProcessChannelMode(QProcess::MergedChannels);
        program.start(u"gjs"_s, {file.fileName()});
        if (!program.waitForFinished(kPatienceMs))
            return u"gjs does not end"_s;
        return QString::fromUtf8(program.readAll()).trimmed();
    }

    QString m_script;
};

QUILLSTEP_TEST(TestBrowserExtension)
#include "tst_browser_extension.moc"
