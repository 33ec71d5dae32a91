// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_file_reader.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"

#include <QIODevice>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <sys/resource.h>

namespace {

/// A long text that never exists as a whole: a beginning, then one character over and over.
class LongDevice final : public QIODevice
{
public:
    LongDevice(QByteArray start, char filler, qint64 length)
        : m_start(std::move(start))
        , m_filler(filler)
        , m_left(length)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    qint64 handedOut = 0;

protected:
    qint64 readData(char* data, qint64 wanted) override
    {
        const qint64 size = std::min(wanted, m_left);
        std::memset(data, m_filler, static_cast<std::size_t>(size));
        const qint64 fromStart = std::min<qint64>(size, m_start.size());
        std::memcpy(data, m_start.constData(), static_cast<std::size_t>(fromStart));
        m_start.remove(0, fromStart);
        m_left -= size;
        handedOut += size;
        return size;
    }

    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_start;
    char m_filler;
    qint64 m_left;
};

/// Hands a text out a few bytes at a time, as a slow or odd file system may.
class DrippingDevice final : public QIODevice
{
public:
    explicit DrippingDevice(QByteArray text)
        : m_text(std::move(text))
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char* data, qint64 wanted) override
    {
        const qint64 size = std::min<qint64>({wanted, m_text.size() - m_at, 7});
        std::memcpy(data, m_text.constData() + m_at, static_cast<std::size_t>(size));
        m_at += size;
        return size;
    }

    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_text;
    qint64 m_at = 0;
};

class FailingDevice final : public QIODevice
{
public:
    explicit FailingDevice(QByteArray text)
        : m_text(std::move(text))
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char* data, qint64 wanted) override
    {
        if (m_text.isEmpty())
            return -1;
        const qint64 size = std::min<qint64>(wanted, m_text.size());
        std::memcpy(data, m_text.constData(), static_cast<std::size_t>(size));
        m_text.remove(0, size);
        return size;
    }

    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_text;
};

std::optional<activity::ActivityList> readFrom(QIODevice& device)
{
    activity::TextPool pool;
    return activity::readActivityFile(device, pool);
}

bool readsAs(const QByteArray& text, const activity::ActivityList& expected)
{
    const auto list = samples::read(text);
    return list && samples::records(*list) == samples::records(expected);
}

QByteArray nested(int levels)
{
    // The array and the record are two levels themselves.
    const QByteArray deep = QByteArray(levels - 2, '[') + QByteArray(levels - 2, ']');
    QByteArray text = samples::json(samples::list(1));
    text.replace("\"duration\"", "\"extra\":" + deep + ",\"duration\"");
    return text;
}

} // namespace

class TestActivityFileReader final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void emptyArrayIsTheEmptyList()
    {
        for (const char* text : {"[]", " [ ] ", "\n[\t\r\n]\n", "\xEF\xBB\xBF[]"})
            QVERIFY2(readsAs(text, {}), text);
    }

    void recordsKeepTheirOrder()
    {
        const auto list = samples::list(3);
        QVERIFY(readsAs(samples::json(list), list));
    }

    void whiteSpaceMayStandAnywhereBetweenTokens()
    {
        const auto list = samples::list(3000);
        QByteArray text = samples::json(list);
        text.replace("},{", "}\n ,\t{").replace("\":", "\" : ");
        QVERIFY(readsAs('\n' + text + " \n", list));
    }

    void byteOrderMarkIsSkipped()
    {
        const auto list = samples::list(2);
        QVERIFY(readsAs("\xEF\xBB\xBF" + samples::json(list), list));
        QVERIFY(!samples::read("\xEF\xBB" + samples::json(list)));
        QVERIFY(!samples::read("\xEF\xBB\xBF\xEF\xBB\xBF[]"));
    }

    void longFilesAreReadAcrossManyWindows()
    {
        const auto list = samples::list(20000); // about 3 MB
        QVERIFY(readsAs(samples::json(list), list));
    }

    void filesThatComeInSmallPiecesAreRead()
    {
        const auto list = samples::list(5000);
        DrippingDevice device(samples::json(list));
        const auto read = readFrom(device);
        QVERIFY(read && samples::records(*read) == samples::records(list));
    }

    void aRecordLongerThanTheWindowIsRead()
    {
        activity::ActivityList list = samples::list(2);
        list.append(samples::log("long", std::string(3'000'000, 'x')));
        list.append(samples::log("after"));
        QVERIFY(readsAs(samples::json(list), list));
    }

    void titlesThatLookLikeTheJoinOfTwoRecordsDoNotConfuseIt()
    {
        activity::ActivityList list;
        for (int i = 0; i < 4000; ++i) {
            std::string title(static_cast<std::size_t>(i % 300), ' ');
            for (int n = 0; n < 20; ++n)
                title += "},{\"id\":\"},{}]";
            list.append(samples::log("tricky", title));
        }
        QVERIFY(readsAs(samples::json(list), list));
    }

    void equalTextsShareOneBuffer()
    {
        activity::ActivityList list;
        for (int i = 0; i < 5000; ++i)
            list.append(samples::log(i % 2 == 0 ? "even" : "odd"));
        const auto read = samples::read(samples::json(list));
        QVERIFY(read);
        QVERIFY((*read)[0].appName.sharesBufferWith((*read)[4998].appName));
        QVERIFY((*read)[1].appName.sharesBufferWith((*read)[4999].appName));
        QVERIFY(!(*read)[0].appName.sharesBufferWith((*read)[1].appName));
    }

    void nestingOf512LevelsIsReadAnd513IsDamaged()
    {
        QVERIFY(samples::read(nested(512)));
        QVERIFY(!samples::read(nested(513)));
        QVERIFY(!samples::read(nested(100'000)));
    }

    void damagedTextIsRejected_data()
    {
        QTest::addColumn<QByteArray>("text");
        const QByteArray one = samples::json(samples::list(1));
        const QByteArray object = one.mid(1, one.size() - 2);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("white space") << QByteArray(" \n");
        QTest::newRow("object") << QByteArray("{}");
        QTest::newRow("record without array") << object;
        QTest::newRow("null") << QByteArray("null");
        QTest::newRow("string") << QByteArray("\"[]\"");
        QTest::newRow("array of numbers") << QByteArray("[1,2]");
        QTest::newRow("array of arrays") << '[' + one + ']';
        QTest::newRow("array with a null") << QByteArray('[' + object + ",null]");
        QTest::newRow("second document") << one + "[]";
        QTest::newRow("text behind") << one + "x";
        QTest::newRow("NUL behind") << one + QByteArray(1, '\0');
        QTest::newRow("trailing comma") << QByteArray('[' + object + ",]");
        QTest::newRow("leading comma") << QByteArray("[," + object + ']');
        QTest::newRow("two commas") << QByteArray('[' + object + ",," + object + ']');
        QTest::newRow("no comma") << QByteArray('[' + object + object + ']');
        QTest::newRow("closed by a brace") << QByteArray('[' + object + '}');
        QTest::newRow("closed twice") << one + ']';
        QTest::newRow("opened twice") << '[' + one;
        QTest::newRow("NULs only") << QByteArray(100, '\0');
        QTest::newRow("UTF-16") << QByteArray("\xFF\xFE[\0]\0", 6);
        QTest::newRow("invalid UTF-8 in a title") << QByteArray(one).replace("title", "t\xC3\x28");
    }

    void damagedTextIsRejected()
    {
        QFETCH(QByteArray, text);
        QVERIFY(!samples::read(text));
    }

    void textTruncatedAtAnyByteIsRejected()
    {
        const QByteArray whole = samples::json(samples::list(3));
        for (qsizetype length = 0; length < whole.size(); ++length)
            QVERIFY2(!samples::read(whole.first(length)), qPrintable(QString::number(length)));
        QVERIFY(samples::read(whole));
    }

    void oneBadRecordFarInsideALongFileIsFound()
    {
        QByteArray text = samples::json(samples::list(10000));
        const qsizetype inside = text.indexOf("\"duration\"", text.size() / 2);
        QVERIFY(inside > 0);
        text[inside + 1] = 'D';
        QVERIFY(!samples::read(text));
    }

    void aReadErrorIsNotAnEnd()
    {
        FailingDevice device(samples::json(samples::list(3)));
        QVERIFY(!readFrom(device));
    }

    void garbageIsGivenUpAtTheFirstWrongByte()
    {
        constexpr qint64 kLength = 300'000'000;
        LongDevice garbage({}, 'g', kLength);
        QVERIFY(!readFrom(garbage));
        LongDevice inside("[{\"id\":1} g", 'g', kLength);
        QVERIFY(!readFrom(inside));
        QVERIFY(garbage.handedOut < 1'000'000);
        QVERIFY(inside.handedOut < 1'000'000);
    }

    void aStringThatNeverEndsIsDamage()
    {
        LongDevice device("[{\"id\":\"", 'a', 300'000'000);
        QVERIFY(!readFrom(device));
    }

    void randomDamageNeverCrashes()
    {
        const QByteArray whole = samples::json(samples::list(5));
        QRandomGenerator random(1);
        int rejected = 0;
        for (int round = 0; round < 3000; ++round) {
            QByteArray text = whole;
            for (int n = random.bounded(1, 4); n > 0; --n)
                text[random.bounded(static_cast<int>(text.size()))] =
                    static_cast<char>(random.bounded(256));
            if (!samples::read(text))
                ++rejected;
        }
        QVERIFY(rejected > 1000);
    }
};

QUILLSTEP_TEST(TestActivityFileReader)
#include "tst_activity_file_reader.moc"
