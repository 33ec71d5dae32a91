// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/kwin/kwin_front_window.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindow;
using platform::kwin::decodeReport;

namespace {

const QString kId = u"{90ef7799-e83a-4f7d-9f89-dbcce04db1fd}"_s;

QVariantList report(const QString& id = kId,
                    const QString& caption = u"Notes"_s,
                    const QString& windowClass = u"editor"_s,
                    const QString& instance = u"editor-bin"_s,
                    const QString& desktopFile = u"org.example.Editor"_s,
                    int process = 4711)
{
    return {u"token"_s, id, caption, windowClass, instance, desktopFile, process};
}

FrontWindow front(const QVariantList& arguments)
{
    const auto decoded = decodeReport(arguments);
    return decoded ? decoded->front.value_or(FrontWindow{}) : FrontWindow{};
}

} // namespace

class TestKWinReport final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void aReportTellsOfItsWindow()
    {
        const auto decoded = decodeReport(report());
        QVERIFY(decoded);
        QCOMPARE(decoded->token, u"token"_s);
        const FrontWindow expected{
            .window = 0x90ef7799e83a4f7dU ^ 0x9f89dbcce04db1fdU,
            .identifiers = {u"org.example.Editor"_s, u"editor"_s, u"editor-bin"_s},
            .name = std::nullopt,
            .processIdentifier = 4711,
            .title = u"Notes"_s};
        QVERIFY(decoded->front == expected);
    }

    void withoutAnIdNothingIsInFront()
    {
        const auto decoded = decodeReport(report(QString()));
        QVERIFY(decoded);
        QVERIFY(!decoded->front);
    }

    void anIdThatIsNoneIsNoReport()
    {
        QVERIFY(!decodeReport(report(u"7"_s)));
        QVERIFY(!decodeReport(report(QString(1000000, u'{'))));
        QVERIFY(!decodeReport(report(u"{00000000-0000-0000-0000-000000000000}"_s)));
    }

    void aWindowsNumberIsNeverZero()
    {
        QCOMPARE(front(report(u"{90ef7799-e83a-4f7d-90ef-7799e83a4f7d}"_s)).window, 1U);
    }

    void windowsHaveDifferentNumbers()
    {
        QVERIFY(front(report()).window !=
                front(report(u"{90ef7799-e83a-4f7d-9f89-dbcce04db1fe}"_s)).window);
    }

    void otherTypesAreNoReport()
    {
        for (qsizetype i = 0; i < report().size(); ++i) {
            QVariantList arguments = report();
            arguments[i] = QVariantList{1, 2};
            QVERIFY2(!decodeReport(arguments), qPrintable(QString::number(i)));
            arguments[i] = 1.5;
            QVERIFY2(!decodeReport(arguments), qPrintable(QString::number(i)));
        }
        QVariantList arguments = report();
        arguments.last() = u"4711"_s;
        QVERIFY(!decodeReport(arguments));
    }

    void tooFewOrTooManyArgumentsAreNoReport()
    {
        QVERIFY(!decodeReport({}));
        QVERIFY(!decodeReport(report().mid(1)));
        QVERIFY(!decodeReport(report() << u"more"_s));
    }

    void theTitleMayBeMissing() { QCOMPARE(front(report(kId, QString())).title, std::nullopt); }

    void aLongTitleIsCutBetweenCharacters_data()
    {
        QTest::addColumn<QString>("unit");
        QTest::addColumn<qsizetype>("kept");
        QTest::newRow("one byte") << u"a"_s << qsizetype(16384);
        QTest::newRow("two bytes") << u"ü"_s << qsizetype(8192);
        QTest::newRow("three bytes") << u"€"_s << qsizetype(5461);
        QTest::newRow("four bytes") << u"😀"_s << qsizetype(4096);
    }

    void aLongTitleIsCutBetweenCharacters()
    {
        QFETCH(const QString, unit);
        QFETCH(const qsizetype, kept);
        QCOMPARE(front(report(kId, unit.repeated(kept))).title, unit.repeated(kept));
        QCOMPARE(front(report(kId, unit.repeated(kept + 1))).title, unit.repeated(kept));
        QCOMPARE(front(report(kId, unit.repeated(100000))).title, unit.repeated(kept));
        // One byte before it, so that the last character of four bytes does not fit any more.
        const QString shifted = u"ab"_s + unit.repeated(100000);
        const QString title = front(report(kId, shifted)).title.value_or(QString());
        QVERIFY(title.toUtf8().size() <= 16384);
        QVERIFY(title.toUtf8().size() > 16384 - 4);
        QVERIFY(shifted.startsWith(title));
        QVERIFY(!title.back().isHighSurrogate());
    }

    void identifiersAreToldOnceAndWithoutEmptyOnes()
    {
        const QStringList once{u"editor"_s};
        QCOMPARE(front(report(kId, {}, u"editor"_s, u"editor"_s, u"editor"_s)).identifiers, once);
        QCOMPARE(front(report(kId, {}, u"editor"_s, {}, {})).identifiers, once);
        QCOMPARE(front(report(kId, {}, {}, {}, {})).identifiers, QStringList());
    }

    void aPathToADesktopFileIsItsId()
    {
        const QStringList id{u"org.example.Editor"_s};
        for (const QString& file : {u"org.example.Editor"_s,
                                    u"org.example.Editor.desktop"_s,
                                    u"/usr/share/applications/org.example.Editor.desktop"_s})
            QCOMPARE(front(report(kId, {}, {}, {}, file)).identifiers, id);
        QCOMPARE(front(report(kId, {}, {}, {}, u"/"_s)).identifiers, QStringList());
        QCOMPARE(front(report(kId, {}, {}, {}, u".desktop"_s)).identifiers, QStringList());
    }

    void tooLongIdentifiersAreLeftOut()
    {
        const QString longest(1024, u'a');
        QCOMPARE(front(report(kId, {}, longest, {}, {})).identifiers, QStringList{longest});
        const QString tooLong = longest + u'a';
        QCOMPARE(front(report(kId, {}, tooLong, u"editor"_s, tooLong)).identifiers,
                 QStringList{u"editor"_s});
        QCOMPARE(front(report(kId, {}, QString(600, u'ü'), {}, {})).identifiers, QStringList());
    }

    void anUnknownProcessIsZero()
    {
        QCOMPARE(front(report(kId, {}, {}, {}, {}, -1)).processIdentifier, 0);
        QCOMPARE(
            front(report(kId, {}, {}, {}, {}, std::numeric_limits<int>::min())).processIdentifier,
            0);
    }
};

QUILLSTEP_TEST(TestKWinReport)
#include "tst_kwin_report.moc"
