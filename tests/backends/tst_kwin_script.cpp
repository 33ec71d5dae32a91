// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/kwin/kwin_front_window.h"
#include "backends/desktops/kwin/kwin_script_keeper.h"
#include "tests/support/test_program.h"

#include <QFile>
#include <QJSEngine>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using platform::kwin::KWinScriptTarget;
using platform::kwin::writeScript;

namespace {

/// What KWin offers to scripts, under the names of KWin 5 or 6, with a clock that the test moves.
const QString kFakeKWin = uR"js(
var now = 0;
var activate;
var timers = [];
var calls = [];
function Signal() {
    const all = [];
    this.connect = (f) => all.push(f);
    this.disconnect = (f) => {
        if (!all.includes(f)) throw new Error("not connected");
        all.splice(all.indexOf(f), 1);
    };
    this.emit = (...values) => [...all].forEach((f) => f(...values));
    this.count = () => all.length;
}
function QTimer() {
    this.timeout = new Signal();
    this.active = false;
    this.start = () => { this.active = true; this.due = now + this.interval; };
    this.stop = () => { this.active = false; };
    timers.push(this);
}
function pass(milliseconds) {
    for (const end = now + milliseconds; now < end; ++now) {
        for (const timer of timers.filter((t) => t.active && t.due <= now)) {
            if (!timer.singleShot) throw new Error("repeats");
            timer.active = false;
            timer.timeout.emit();
        }
    }
}
function callDBus(...values) { calls.push(values); }
function answer() {
    const last = calls[calls.length - 1];
    last[last.length - 1]();
}
function makeWindow(id, caption) {
    return {
        internalId: { toString: () => id }, caption: caption, resourceClass: "editor",
        resourceName: "editor-bin", desktopFileName: "org.example.Editor", pid: 4711,
        captionChanged: new Signal(), desktopFileNameChanged: new Signal(),
        windowClassChanged: new Signal()
    };
}
var workspace = {};
function become(version) {
    workspace[version < 6 ? "clientActivated" : "windowActivated"] = new Signal();
    activate = (window) => {
        workspace[version < 6 ? "activeClient" : "activeWindow"] = window;
        workspace[version < 6 ? "clientActivated" : "windowActivated"].emit(window);
    };
    workspace[version < 6 ? "activeClient" : "activeWindow"] = null;
}
var one = makeWindow("{1}", "First");
var two = makeWindow("{2}", "Second");
function retitle(window, caption) {
    window.caption = caption;
    window.captionChanged.emit();
}
function settle() {
    pass(200);
    answer();
    pass(300);
}
function reported() {
    return calls.map((c) => c[3] === "report" ? (c[5] ? c[5] + c[6] : "none") : c[3]).join(" ");
}
)js"_s;

} // namespace

/// The script on a KWin of the test's own: no more than its names and rules.
class TestKWinScript final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init()
    {
        m_engine = std::make_unique<QJSEngine>();
        const auto file = writeScript(
            {.service = u":1.42"_s, .path = u"/reports"_s, .name = u"script"_s}, u"secret"_s);
        QVERIFY(file);
        QFile text(file.value()->fileName());
        QVERIFY(text.open(QIODevice::ReadOnly));
        m_text = QString::fromUtf8(text.readAll());
        run(kFakeKWin);
    }

    void aReportSaysWhoReportsAndWhat()
    {
        start(6);
        run(u"answer(); pass(300); activate(one)"_s);
        QCOMPARE(run(u"calls[1].slice(0, 4).join()"_s),
                 u":1.42,/reports,"_s + platform::kwin::reportInterface() + u",report"_s);
        QCOMPARE(run(u"JSON.stringify(calls[1].slice(4, 11))"_s),
                 uR"(["secret","{1}","First","editor","editor-bin","org.example.Editor",4711])"_s);
        QCOMPARE(run(u"typeof calls[1][11] + calls[1].length"_s), u"function12"_s);
    }

    void everyVersionTellsOfWindowsAndTitles_data() { addVersions(); }

    void everyVersionTellsOfWindowsAndTitles()
    {
        QFETCH(const int, version);
        start(version);
        run(u"settle(); activate(one); settle(); retitle(one, 'Third'); settle()"_s);
        run(u"activate(two); settle(); retitle(one, 'unseen'); pass(300)"_s);
        run(u"activate(null); settle(); retitle(two, 'unseen'); pass(300)"_s);
        QCOMPARE(run(u"reported()"_s), u"none {1}First {1}Third {2}Second none"_s);
        QCOMPARE(run(u"one.captionChanged.count() + two.captionChanged.count()"_s), u"0"_s);
    }

    void aWindowThatIsThereBeforeIsReported_data() { addVersions(); }

    void aWindowThatIsThereBeforeIsReported()
    {
        QFETCH(const int, version);
        run(u"become(%1); activate(one)"_s.arg(version));
        run(m_text);
        QCOMPARE(run(u"reported()"_s), u"{1}First"_s);
    }

    void whatHasNotChangedIsNotReported()
    {
        start(6);
        run(u"answer(); pass(300); activate(one); answer(); pass(300)"_s);
        run(u"retitle(one, 'First'); pass(300); activate(one); pass(300)"_s);
        QCOMPARE(run(u"reported()"_s), u"none {1}First"_s);
    }

    void aThousandChangesASecondAreFourReports()
    {
        start(6);
        run(u"answer(); pass(300); activate(one); answer(); pass(300)"_s);
        run(u"var before = calls.length;"
            "for (let i = 1; i <= 1000; ++i) {"
            "    const sent = calls.length; retitle(one, i); pass(1);"
            "    if (calls.length > sent) answer();"
            "}"
            "pass(260)"_s);
        const int sent = run(u"calls.length - before"_s).toInt();
        QVERIFY2(sent >= 4 && sent <= 5, qPrintable(QString::number(sent)));
        QVERIFY(run(u"reported()"_s).endsWith(u" {1}1000"_s));
    }

    void theMomentBetweenTwoWindowsIsNotSeen()
    {
        start(6);
        run(u"settle(); activate(one); settle(); activate(null); pass(2); activate(two)"_s);
        QCOMPARE(run(u"reported()"_s), u"none {1}First {2}Second"_s);
        run(u"settle(); activate(null); pass(100); activate(two); settle()"_s);
        QCOMPARE(run(u"reported()"_s), u"none {1}First {2}Second"_s);
        run(u"activate(null); pass(160)"_s);
        QCOMPARE(run(u"reported()"_s), u"none {1}First {2}Second none"_s);
    }

    void untilItIsAnsweredThereIsOneReport()
    {
        start(6);
        run(u"pass(300); activate(one); pass(1000); retitle(one, 'Third'); pass(1000)"_s);
        QCOMPARE(run(u"reported()"_s), u"none"_s);
        run(u"answer()"_s);
        QCOMPARE(run(u"reported()"_s), u"none {1}Third"_s);
    }

    void withoutAnswersItRemovesItself()
    {
        start(6);
        run(u"pass(9000)"_s);
        QCOMPARE(run(u"reported()"_s), u"none"_s);
        run(u"pass(2000)"_s);
        QCOMPARE(run(u"calls[1].join()"_s),
                 u"org.kde.KWin,/Scripting,org.kde.kwin.Scripting,unloadScript,script"_s);
    }

    void itRunsNoTimerWhileNothingChanges()
    {
        start(6);
        run(u"activate(one); answer(); pass(300); answer(); pass(300)"_s);
        QCOMPARE(run(u"timers.filter((t) => t.active).length"_s), u"0"_s);
    }

    void whatBelongsToTheDesktopIsNotInFront_data()
    {
        QTest::addColumn<QString>("property");
        for (const char* property : {"desktopWindow",
                                     "dock",
                                     "splash",
                                     "notification",
                                     "criticalNotification",
                                     "onScreenDisplay",
                                     "appletPopup",
                                     "lockScreen"})
            QTest::newRow(property) << u"one.%1 = true"_s.arg(QLatin1StringView(property));
        QTest::newRow("greeter") << u"one.resourceClass = 'kscreenlocker_greet'"_s;
    }

    void whatBelongsToTheDesktopIsNotInFront()
    {
        QFETCH(const QString, property);
        start(6);
        run(property);
        run(u"settle(); activate(two); settle(); activate(one); settle()"_s);
        QCOMPARE(run(u"reported()"_s), u"none {2}Second none"_s);
    }

    void aWindowThatIsJustBeingClosedIsNotInFront()
    {
        start(6);
        run(u"answer(); pass(300); activate(two); answer(); pass(300);"
            "Object.defineProperty(one, 'caption', { get() { throw new TypeError('gone'); } });"
            "delete one.captionChanged; activate(one); settle(); activate(two)"_s);
        QCOMPARE(run(u"reported()"_s), u"none {2}Second none {2}Second"_s);
    }

    void valuesThatAreMissingAreEmpty()
    {
        start(6);
        run(u"for (const n of ['caption', 'resourceClass', 'resourceName', 'desktopFileName',"
            " 'pid']) delete one[n];"
            "answer(); pass(300); activate(one)"_s);
        QCOMPARE(run(u"JSON.stringify(calls[1].slice(5, 11))"_s), uR"(["{1}","","","","",0])"_s);
    }

    void aLongTitleIsCut()
    {
        start(6);
        run(u"answer(); pass(300); one.caption = 'a' + '\\u{1F600}'.repeat(20000); activate(one)"_s);
        QCOMPARE(run(u"calls[1][6].length"_s), u"16383"_s);
    }

    void onlyItsOwnerMayReadTheFileAndItGoes()
    {
        QString path;
        {
            const auto file = writeScript(KWinScriptTarget(), u"secret"_s);
            QVERIFY(file);
            path = file.value()->fileName();
            constexpr QFile::Permissions kOthers = QFile::ReadGroup | QFile::WriteGroup |
                                                   QFile::ExeGroup | QFile::ReadOther |
                                                   QFile::WriteOther | QFile::ExeOther;
            QVERIFY(QFile::exists(path));
            QVERIFY(!(QFile::permissions(path) & kOthers));
        }
        QVERIFY(!QFile::exists(path));
    }

private:
    static void addVersions()
    {
        QTest::addColumn<int>("version");
        QTest::newRow("KWin 5") << 5;
        QTest::newRow("KWin 6") << 6;
    }

    void start(int version)
    {
        run(u"become(%1)"_s.arg(version));
        run(m_text);
    }

    /// What `text` comes to.
    QString run(const QString& text)
    {
        const QJSValue value = m_engine->evaluate(text);
        if (value.isError())
            QTest::qFail(qPrintable(value.toString()), __FILE__, __LINE__);
        return value.toString();
    }

    std::unique_ptr<QJSEngine> m_engine;
    QString m_text;
};

QUILLSTEP_TEST(TestKWinScript)
#include "tst_kwin_script.moc"
