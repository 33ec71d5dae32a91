// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/firefox_history.h"
#include "platform/linux/atspi/firefox_settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace platform::atspi;

namespace {

constexpr int kProcess = 4711;
constexpr const char* kNever = "user_pref(\"browser.privatebrowsing.autostart\", true);\n";
constexpr const char* kKept = "user_pref(\"browser.privatebrowsing.autostart\", false);\n";
constexpr const char* kOther = "user_pref(\"browser.startup.page\", 0);\n";

} // namespace

/// A made-up /proc with one process, which sees the folders of this machine under another root.
class TestFirefoxHistory final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
        write(u"profile/.parentlock"_s, {});
        write(u"profile/prefs.js"_s, kOther);
        write(u"lib/fox/fox"_s, {});
        start(100);
        link(m_folder->path(), u"root"_s + m_folder->path());
        link(inside(u"root"_s), process(u"root"_s));
        link(inside(u"lib/fox/fox"_s), process(u"exe"_s));
        link(inside(u"profile/places.sqlite"_s), process(u"fd/13"_s));
        link(inside(u"profile/.parentlock"_s), process(u"fd/14"_s));
        m_history = std::make_unique<FirefoxHistory>(inside(u"proc"_s));
    }

    void cleanup()
    {
        m_history.reset();
        m_folder.reset();
    }

    void preferencesAreRead_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("forgoes");
        const auto row = [](const char* name, const QByteArray& text, bool forgoes) {
            QTest::newRow(name) << text << forgoes;
        };
        const QByteArray name = "browser.privatebrowsing.autostart";
        row("nothing", {}, false);
        row("others", kOther, false);
        row("on", kNever, true);
        row("off", kKept, false);
        row("first on, then off", QByteArray(kNever) + kKept, true);
        row("off, then on in the same line", QByteArray(kKept).trimmed() + kNever, true);
        row("among others", QByteArray(kOther) + kNever + kOther, true);
        row("lines end as on other systems", QByteArray(kOther).trimmed() + "\r\n" + kNever, true);
        row("old line ends", "// remark\ruser_pref('" + name + "',true)", true);
        row("other quotes and spaces", "  user_pref ( '" + name + "' ,\ttrue ) ;", true);
        row("off with spaces", "  user_pref ( '" + name + "' ,\tfalse ) ;", false);
        row("on the next line", "user_pref(\"" + name + "\",\ntrue);", true);
        row("the name alone", "\"" + name, true);
        row("an administrator's", "lockPref(\"" + name + "\", true);", true);
        row("remark", "// " + QByteArray(kNever), false);
        row("remark that ends", "/*\n// */" + QByteArray(kNever), true);
        row("a longer name", "user_pref(\"" + name + "s\", true);", false);
    }

    void preferencesAreRead()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, forgoes);
        QCOMPARE(preferencesForgoHistory(text), forgoes);
        QByteArray obscured = text;
        for (char& byte : obscured)
            byte = static_cast<char>(byte + 13);
        QCOMPARE(scriptForgoesHistory(text), forgoes);
        QCOMPARE(scriptForgoesHistory(obscured), forgoes);
    }

    void policiesAreRead_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("forgoes");
        const auto row = [](const char* name, const QByteArray& policies, bool forgoes) {
            QTest::newRow(name) << "{\"policies\": {" + policies + "}}" << forgoes;
        };
        row("others", "\"DisableTelemetry\": true", false);
        row("modes allowed", "\"PrivateBrowsingModeAvailability\": 0", false);
        row("never private", "\"PrivateBrowsingModeAvailability\": 1", false);
        row("always private", "\"PrivateBrowsingModeAvailability\": 2", true);
        row("odd mode", "\"PrivateBrowsingModeAvailability\": \"x\"", true);
        const QByteArray preference =
            "\"Preferences\": {\"browser.privatebrowsing.autostart\": %1}";
        const auto with = [&preference](const char* value) {
            return QByteArray(preference).replace("%1", value);
        };
        row("preference", with("true"), true);
        row("preference, off", with("false"), false);
        row("locked", with("{\"Value\": true, \"Status\": \"locked\"}"), true);
        row("locked, off", with("{\"Value\": false, \"Status\": \"locked\"}"), false);
        row("preferences as a text",
            "\"Preferences\": \"{\\\"browser.privatebrowsing.autostart\\\": true}\"",
            true);
        QTest::newRow("no policies") << QByteArray("{}") << false;
        QTest::newRow("not JSON") << QByteArray("{PrivateBrowsingModeAvailability: 2") << true;
        QTest::newRow("not JSON, others") << QByteArray("{") << false;
    }

    void policiesAreRead()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, forgoes);
        QCOMPARE(policiesForgoHistory(text), forgoes);
    }

    void anOrdinaryProfileKeepsAHistory()
    {
        QVERIFY(m_history->isKeptBy(kProcess));
        QVERIFY(m_history->isKeptBy(kProcess));
        QVERIFY(!m_history->isKeptBy(kProcess + 1));
        QVERIFY(!m_history->isKeptBy(0));
    }

    void settingsThatForgoAHistoryAreFound_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("text");
        const QByteArray policies = "{\"policies\": {\"PrivateBrowsingModeAvailability\": 2}}";
        QTest::newRow("profile") << u"profile/prefs.js"_s << QByteArray(kNever);
        QTest::newRow("user") << u"profile/user.js"_s << QByteArray(kNever);
        QTest::newRow("policies of the program")
            << u"lib/fox/distribution/policies.json"_s << policies;
        QTest::newRow("policies") << u"root/etc/firefox/policies/policies.json"_s << policies;
        QTest::newRow("policies, own") << u"root/etc/fox/policies/policies.json"_s << policies;
        QTest::newRow("program") << u"lib/fox/defaults/pref/a.js"_s << QByteArray(kNever);
        QTest::newRow("system") << u"root/etc/fox/a.js"_s << QByteArray(kNever);
        QTest::newRow("script") << u"lib/fox/fox.cfg"_s << QByteArray(kNever);
    }

    void settingsThatForgoAHistoryAreFound()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, text);
        write(file, kOther); // what is not understood counts for nothing
        QVERIFY(FirefoxHistory(inside(u"proc"_s)).isKeptBy(kProcess));
        write(file, text);
        QVERIFY(!FirefoxHistory(inside(u"proc"_s)).isKeptBy(kProcess));
    }

    void aProfileThatIsNotFoundOrReadTellsNothing_data()
    {
        QTest::addColumn<QString>("removed");
        QTest::newRow("no lock held") << u"proc/4711/fd/14"_s;
        QTest::newRow("lock deleted") << u"profile/.parentlock"_s;
        QTest::newRow("no descriptors") << u"proc/4711/fd"_s;
        QTest::newRow("no preferences") << u"profile/prefs.js"_s;
        QTest::newRow("no root") << u"proc/4711/root"_s;
        QTest::newRow("no program") << u"proc/4711/exe"_s;
        QTest::newRow("no program's folder") << u"lib/fox"_s;
        QTest::newRow("no start time") << u"proc/4711/stat"_s;
    }

    void aProfileThatIsNotFoundOrReadTellsNothing()
    {
        QFETCH(QString, removed);
        const QFileInfo info(inside(removed));
        QVERIFY(info.isDir() && !info.isSymLink() ? QDir(inside(removed)).removeRecursively()
                                                  : QFile::remove(inside(removed)));
        QVERIFY(!m_history->isKeptBy(kProcess));
    }

    void severalProfilesAreInDoubt()
    {
        write(u"second/.parentlock"_s, {});
        write(u"second/prefs.js"_s, kOther);
        link(inside(u"second/.parentlock"_s), process(u"fd/15"_s));
        QVERIFY(!m_history->isKeptBy(kProcess));
    }

    void anotherFileOfThatNameIsNotTheProfile()
    {
        QVERIFY(QFile::remove(inside(u"root"_s + m_folder->path())));
        write(u"root"_s + inside(u"profile/.parentlock"_s), {});
        write(u"root"_s + inside(u"profile/prefs.js"_s), kOther);
        write(u"root"_s + inside(u"lib/fox/fox"_s), {});
        QVERIFY(!m_history->isKeptBy(kProcess));
    }

    void aPipeKeepsNobodyWaiting()
    {
        const QByteArray pipe = QFile::encodeName(inside(u"profile/user.js"_s));
        QCOMPARE(::mkfifo(pipe.constData(), 0600), 0);
        QVERIFY(!m_history->isKeptBy(kProcess));
    }

    void anEndlessFileIsInDoubt()
    {
        QFile file(inside(u"profile/user.js"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(1LL << 40));
        QVERIFY(!m_history->isKeptBy(kProcess));
    }

    void aChangeIsSeenAndHoldsUntilTheNextStart()
    {
        QVERIFY(m_history->isKeptBy(kProcess));
        write(u"profile/user.js"_s, kNever);
        QVERIFY(!m_history->isKeptBy(kProcess));
        QVERIFY(QFile::remove(inside(u"profile/user.js"_s)));
        QVERIFY(!m_history->isKeptBy(kProcess));
        start(200);
        QVERIFY(m_history->isKeptBy(kProcess));
    }

private:
    QString inside(const QString& name) const { return m_folder->filePath(name); }

    static QString process(const QString& name) { return u"proc/4711/"_s + name; }

    void write(const QString& name, const QByteArray& text)
    {
        QFile file(inside(name));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

    void link(const QString& target, const QString& name)
    {
        QVERIFY(QDir().mkpath(QFileInfo(inside(name)).path()));
        QVERIFY(QFile::link(target, inside(name)));
    }

    /// The process begins at this time.
    void start(int time)
    {
        write(process(u"stat"_s),
              "4711 (fox) S 1" + QByteArray(" 0").repeated(17) + ' ' + QByteArray::number(time) +
                  " 0 0\n");
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<FirefoxHistory> m_history;
};

QTEST_GUILESS_MAIN(TestFirefoxHistory)
#include "tst_firefox_history.moc"
