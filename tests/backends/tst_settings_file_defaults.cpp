// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/settings_file_defaults.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QLockFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <sys/stat.h>

using namespace std::chrono_literals;
using platform::qt::SettingsFileDefaults;

namespace {

constexpr auto kLong = 20s;

std::atomic<int> s_warnings = 0;

/// A folder for the settings, which is not there yet.
class Bench final
{
public:
    [[nodiscard]] QString folder() const { return m_home.filePath(QStringLiteral("settings")); }

    [[nodiscard]] QString path() const { return folder() + QStringLiteral("/defaults.ini"); }

    [[nodiscard]] QByteArray content() const { return samples::contentOf(path()); }

    /// What is beside the file, by name.
    [[nodiscard]] QStringList others() const
    {
        QStringList names = QDir(folder()).entryList(QDir::Files | QDir::Dirs | QDir::System |
                                                     QDir::Hidden | QDir::NoDotAndDotDot);
        names.removeOne(QStringLiteral("defaults.ini"));
        return names;
    }

    void place(const QByteArray& content) const
    {
        QFile file(path());
        if (!QDir().mkpath(folder()) || !file.open(QIODevice::WriteOnly) ||
            file.write(content) != content.size())
            qFatal("cannot write");
    }

    /// The settings as a later process finds them: QSettings keeps files that it knows in memory,
    /// so they are read from a copy.
    [[nodiscard]] std::unique_ptr<SettingsFileDefaults> later()
    {
        const QString copy = m_home.filePath(QStringLiteral("copy%1.ini").arg(++m_copies));
        if (!QFile::copy(path(), copy))
            qFatal("there is no file to copy");
        return std::make_unique<SettingsFileDefaults>(copy);
    }

private:
    QTemporaryDir m_home;
    int m_copies = 0;
};

unsigned modeOf(const QString& path)
{
    struct stat info = {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777U : 0;
}

QString key(const char* name)
{
    return QString::fromLatin1(name);
}

QStringList difficultTexts()
{
    return {QString(),
            QStringLiteral("plain"),
            QStringLiteral("@start"),
            QStringLiteral("@@start"),
            QStringLiteral("@Invalid()"),
            QStringLiteral("@String(x)"),
            QStringLiteral("@Variant(x)"),
            QStringLiteral("a,b, c"),
            QStringLiteral(","),
            QStringLiteral("; no comment"),
            QStringLiteral("# none"),
            QStringLiteral(" lead and trail "),
            QStringLiteral("x=y"),
            QStringLiteral("[x]"),
            QStringLiteral("one\ntwo\r\nthree\r"),
            QStringLiteral("\"quoted\" 'too'"),
            QStringLiteral("\\n \\ \\x41"),
            QStringLiteral("%41 %zz"),
            QStringLiteral("\x01\x02\x7f\t"),
            QStringLiteral("\u00fc \u4e2d \U0001F600 \u2028"),
            QStringLiteral("\ufeff"),
            QStringLiteral("a\n\ufeff,b\ufeff\u4e2d"),
            QString(QChar(0)),
            QStringLiteral("a") + QChar(0) + QStringLiteral("b"),
            QStringLiteral("0123456789abcde,").repeated(65536)};
}

} // namespace

class TestSettingsFileDefaults final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aValueThatWasSetIsReadAtOnceAndByLaterProcesses()
    {
        Bench bench;
        SettingsFileDefaults defaults(bench.path());
        QVERIFY(!defaults.string(key("deviceId")));
        defaults.setString(key("deviceId"), key("one"));
        defaults.setString(key("deviceId"), key("two"));
        QCOMPARE(defaults.string(key("deviceId")), key("two"));
        QVERIFY(defaults.finish(kLong));
        QCOMPARE(bench.content(), QByteArray("[General]\ndeviceId=two\n"));
        QCOMPARE(bench.later()->string(key("deviceId")), key("two"));
        QVERIFY(!bench.later()->string(key("syncInterval")));
    }

    void changesReachTheDiskWithoutBeingFinished()
    {
        Bench bench;
        SettingsFileDefaults defaults(bench.path());
        defaults.setInteger(key("syncInterval"), 5);
        QTRY_COMPARE(bench.content(), QByteArray("[General]\nsyncInterval=5\n"));
        defaults.remove(key("syncInterval"));
        QVERIFY(!defaults.integer(key("syncInterval")));
        QTRY_VERIFY(!bench.content().contains("syncInterval"));
    }

    void everyTextSurvivesUnchanged()
    {
        Bench bench;
        const QStringList texts = difficultTexts();
        {
            SettingsFileDefaults defaults(bench.path());
            for (qsizetype i = 0; i < texts.size(); ++i)
                defaults.setString(QString::number(i), texts[i]);
        }
        const auto later = bench.later();
        for (qsizetype i = 0; i < texts.size(); ++i) {
            const auto found = later->string(QString::number(i));
            QVERIFY2(found && *found == texts[i], qPrintable(QString::number(i)));
        }
    }

    void aLoneSurrogateIsReplacedInMemoryAsOnTheDisk()
    {
        Bench bench;
        SettingsFileDefaults defaults(bench.path());
        defaults.setString(key("k"), QString(QChar(0xD800)) + QLatin1Char('x'));
        QCOMPARE(defaults.string(key("k")), key("?x"));
        QVERIFY(defaults.finish(kLong));
        QCOMPARE(bench.later()->string(key("k")), key("?x"));
    }

    void whatOthersWroteStaysInTheFile()
    {
        Bench bench;
        bench.place("[General]\nforeign=1\nlist=a, b\nmine=old\n\n[Group]\nx=y\n");
        SettingsFileDefaults defaults(bench.path());
        QCOMPARE(defaults.string(key("mine")), key("old"));
        QVERIFY(!defaults.string(key("list")));
        // Another process changes one key and adds one, while ours does not look.
        bench.place("[General]\nforeign=changed\nlist=a, b\nadded=1\nmine=old\n\n[Group]\nx=y\n");
        defaults.setString(key("mine"), key("new"));
        QVERIFY(defaults.finish(kLong));
        const auto later = bench.later();
        QCOMPARE(later->string(key("mine")), key("new"));
        QCOMPARE(later->string(key("foreign")), key("changed"));
        QCOMPARE(later->string(key("added")), key("1"));
        QCOMPARE(later->string(key("Group/x")), key("y"));
        QVERIFY(bench.content().contains("list=a, b"));
        QVERIFY(bench.others().isEmpty());
    }

    void fileAndFolderAreForTheirOwnerOnly()
    {
        Bench bench;
        {
            SettingsFileDefaults(bench.path()).setString(key("k"), key("v"));
        }
        QCOMPARE(modeOf(bench.path()), 0600U);
        QCOMPARE(modeOf(bench.folder()), 0700U);
        QCOMPARE(::chmod(QFile::encodeName(bench.path()).constData(), 0644), 0);
        {
            SettingsFileDefaults(bench.path()).setString(key("k"), key("w"));
        }
        QCOMPARE(modeOf(bench.path()), 0600U);
    }

    void aDamagedFileIsKeptAsideWhenSomethingIsWritten_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("words") << QByteArray("this is not a settings file\n");
        QTest::newRow("line without =") << QByteArray("[General]\ndeviceId=x\nbroken\n");
        QTest::newRow("no name") << QByteArray("[General]\ndeviceId=x\n=y\n");
        QTest::newRow("open section") << QByteArray("[General\ndeviceId=x\n");
        QTest::newRow("open quotes") << QByteArray("[General]\ndeviceId=\"x\nb=2\n");
        QTest::newRow("cut") << QByteArray("[General]\ndeviceId=x\\");
        QTest::newRow("not UTF-8") << QByteArray("[General]\ndeviceId=\xFF\xFE\n");
        QTest::newRow("zeros") << QByteArray(4096, '\0');
        QTest::newRow("binary") << QByteArray("\x7f"
                                              "ELF=\x02\x01");
    }

    void aDamagedFileIsKeptAsideWhenSomethingIsWritten()
    {
        QFETCH(const QByteArray, content);
        Bench bench;
        bench.place(content);
        SettingsFileDefaults defaults(bench.path());
        QVERIFY(!defaults.string(key("deviceId")));
        QVERIFY(defaults.finish(kLong));
        QCOMPARE(bench.content(), content); // nothing was changed, so nothing is touched
        defaults.setString(key("deviceId"), key("new"));
        QVERIFY(defaults.finish(kLong));
        QCOMPARE(bench.content(), QByteArray("[General]\ndeviceId=new\n"));
        QCOMPARE(bench.others().size(), 1);
        const QString aside = bench.others().first();
        QVERIFY(aside.startsWith(QStringLiteral("defaults.ini.damaged-2")));
        QVERIFY(aside.endsWith(u'Z'));
        QCOMPARE(samples::contentOf(bench.folder() + u'/' + aside), content);
    }

    void commentsAndAByteOrderMarkAreNoDamage()
    {
        Bench bench;
        bench.place("\xEF\xBB\xBF; note\r\n# note\r\n\r\n[General]\r\n deviceId = \"a, b\" \r\n");
        SettingsFileDefaults defaults(bench.path());
        QCOMPARE(defaults.string(key("deviceId")), key("a, b"));
    }

    void onlyTheNewestThreeDamagedFilesAreKept()
    {
        Bench bench;
        for (int i = 0; i < 5; ++i) {
            bench.place("damaged " + QByteArray::number(i));
            SettingsFileDefaults(bench.path()).setString(key("k"), key("v"));
        }
        QCOMPARE(bench.others().size(), 3);
        QByteArrayList kept;
        for (const QString& name : bench.others())
            kept.append(samples::contentOf(bench.folder() + u'/' + name));
        std::sort(kept.begin(), kept.end());
        QCOMPARE(kept, QByteArrayList({"damaged 2", "damaged 3", "damaged 4"}));
    }

    void aFolderOrAPipeInItsPlaceIsKeptAside()
    {
        for (const bool isPipe : {false, true}) {
            Bench bench;
            QVERIFY(QDir().mkpath(bench.folder()));
            const QByteArray path = QFile::encodeName(bench.path());
            QCOMPARE(isPipe ? ::mkfifo(path.constData(), 0600) : ::mkdir(path.constData(), 0700),
                     0);
            SettingsFileDefaults defaults(bench.path());
            QVERIFY(!defaults.string(key("k")));
            defaults.setString(key("k"), key("v"));
            QVERIFY(defaults.finish(kLong));
            QCOMPARE(bench.content(), QByteArray("[General]\nk=v\n"));
            QCOMPARE(bench.others().size(), 1);
        }
    }

    void aFileThatIsDamagedMeanwhileIsWrittenAnewWithAllThatIsKnown()
    {
        Bench bench;
        bench.place("[General]\nforeign=1\nmine=old\n");
        SettingsFileDefaults defaults(bench.path());
        bench.place("garbage");
        defaults.setString(key("mine"), key("new"));
        QVERIFY(defaults.finish(kLong));
        QCOMPARE(bench.content(), QByteArray("[General]\nforeign=1\nmine=new\n"));
        QCOMPARE(bench.others().size(), 1);
    }

    void withoutAFileSettingsLastAsLongAsTheObject()
    {
        const QTemporaryDir elsewhere;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(elsewhere.path()));
        {
            SettingsFileDefaults defaults{QString()};
            defaults.setString(key("k"), key("v"));
            QCOMPARE(defaults.string(key("k")), key("v"));
            QVERIFY(defaults.finish(kLong));
        }
        QVERIFY(QDir(elsewhere.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot));
        QVERIFY(QDir::setCurrent(before));
    }

    void aFolderThatCannotBeMadeKeepsSettingsInMemoryAndWarnsOnce()
    {
        Bench bench;
        bench.place("this file is in the folder's place");
        const QString below = bench.path() + QStringLiteral("/folder/defaults.ini");
        const auto previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext& context, const QString&) {
                if (type == QtWarningMsg && QByteArray(context.category) == "velomira.settings")
                    ++s_warnings;
            });
        for (const bool listens : {false, true}) {
            QLoggingCategory::setFilterRules(
                listens ? QStringLiteral("velomira.settings.warning=true") : QString());
            s_warnings = 0;
            SettingsFileDefaults defaults(below);
            defaults.setString(key("k"), key("v"));
            QVERIFY(!defaults.finish(kLong));
            defaults.setString(key("k"), key("w"));
            QVERIFY(!defaults.finish(kLong));
            QCOMPARE(defaults.string(key("k")), key("w"));
            QCOMPARE(s_warnings.load(), listens ? 1 : 0);
        }
        QLoggingCategory::setFilterRules({});
        qInstallMessageHandler(previous);
    }

    void aFileThatAnotherProcessLocksHoldsNobodyUp()
    {
        Bench bench;
        QVERIFY(QDir().mkpath(bench.folder()));
        QLockFile lock(bench.path() + QStringLiteral(".lock"));
        QVERIFY(lock.lock());
        SettingsFileDefaults defaults(bench.path());
        // Whoever waited for the lock would wait for good.
        for (int i = 0; i < 100; ++i)
            defaults.setInteger(key("syncInterval"), i);
        QVERIFY(!defaults.finish(200ms));
        QCOMPARE(bench.content(), QByteArray());
        lock.unlock();
        QVERIFY(defaults.finish(kLong));
        QCOMPARE(bench.content(), QByteArray("[General]\nsyncInterval=99\n"));
        QVERIFY(bench.others().isEmpty());
    }

    void manyChangesEndWithTheNewestOfEachKey()
    {
        Bench bench;
        {
            SettingsFileDefaults defaults(bench.path());
            for (int i = 0; i < 300; ++i) {
                defaults.setInteger(QString::number(i % 10), i);
                if (i % 50 == 0)
                    QVERIFY(defaults.finish(kLong));
            }
            defaults.remove(key("0"));
        }
        const auto later = bench.later();
        QVERIFY(!later->integer(key("0")));
        for (int i = 1; i < 10; ++i)
            QCOMPARE(later->integer(QString::number(i)), qint64(290 + i));
    }
};

QUILLSTEP_TEST(TestSettingsFileDefaults)
#include "tst_settings_file_defaults.moc"
