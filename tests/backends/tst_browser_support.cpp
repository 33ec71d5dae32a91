// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/page_addresses/browser_support.h"
#include "tests/support/test_program.h"
#include "tests/support/written_file.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using platform::browsers::browserReport;
using platform::browsers::Family;
using platform::browsers::installBrowserSupport;
using platform::browsers::removeBrowserSupport;
using platform::browsers::SupportPlaces;

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonObject objectIn(const QByteArray& json)
{
    return QJsonDocument::fromJson(json).object();
}

QByteArray fileOfExtension(Family family, const char* name)
{
    for (const auto& file : platform::browsers::extensionFiles(family)) {
        if (file.name == text(name))
            return file.content;
    }
    return {};
}

constexpr const char* kManifest = "com.velomira.usage_monitor.json";

} // namespace

class TestBrowserSupport final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        const QString root = m_folder->path();
        m_places = {.home = root + text("/home"),
                    .configHome = root + text("/home/.config"),
                    .dataHome = root + text("/home/data"),
                    .programFolders = {root + text("/bin")},
                    .hostExecutable = root + text("/bin/velomira-browser-host"),
                    .root = root,
                    .procFolder = root + text("/proc")};
        for (const char* folder : {"home/.config/chromium", "home/.mozilla", "bin", "proc"})
            QVERIFY(QDir(root).mkpath(text(folder)));
        addProgram("velomira-browser-host");
        m_before = everything();
    }

    void theExtensionAsksForNoMoreThanItNeeds()
    {
        for (const Family family : {Family::Chromium, Family::Other}) {
            const QJsonObject manifest = objectIn(fileOfExtension(family, "manifest.json"));
            QCOMPARE(manifest[text("manifest_version")].toInt(), 3);
            QCOMPARE(manifest[text("permissions")].toArray(),
                     QJsonArray({text("tabs"), text("nativeMessaging")}));
            QCOMPARE(manifest[text("incognito")].toString(), text("not_allowed"));
            QVERIFY(!manifest.contains(text("host_permissions")));
            QVERIFY(!manifest.contains(text("content_scripts")));
            QVERIFY(fileOfExtension(family, "background.js").contains("connectNative"));
        }
    }

    void theHostLetsTheExtensionInByItsKey()
    {
        const QJsonObject manifest = objectIn(fileOfExtension(Family::Chromium, "manifest.json"));
        const QByteArray key = QByteArray::fromBase64(manifest[text("key")].toString().toLatin1());
        QString id = QString::fromLatin1(
            QCryptographicHash::hash(key, QCryptographicHash::Sha256).toHex().left(32));
        for (QChar& digit : id)
            digit = QChar(u'a' + QString(digit).toInt(nullptr, 16));
        const auto host = platform::browsers::hostManifest(Family::Chromium, text("/x/host"));
        QVERIFY(host);
        QCOMPARE(objectIn(*host)[text("allowed_origins")].toArray(),
                 QJsonArray({text("chrome-extension://%1/").arg(id)}));
        const auto other = platform::browsers::hostManifest(Family::Other, text("/x/host"));
        QVERIFY(other);
        QCOMPARE(objectIn(*other)[text("allowed_extensions")].toArray(),
                 QJsonArray({objectIn(fileOfExtension(Family::Other, "manifest.json"))[text(
                     "browser_specific_settings")][text("gecko")][text("id")]}));
        QCOMPARE(objectIn(*other)[text("path")].toString(), text("/x/host"));
    }

    void pathsThatAManifestCannotNameAreRefused()
    {
        for (const char* path : {"", "relative", "/a\"b", "/a\\b", "/a\nb"})
            QVERIFY(!platform::browsers::hostManifest(Family::Chromium, text(path)));
    }

    void browsersThatAreUsedAreSetUp()
    {
        const auto outcome = installBrowserSupport(m_places);
        QVERIFY2(outcome.isDone, qPrintable(outcome.lines.join(u'\n')));
        const QString chromium =
            m_places.configHome + text("/chromium/NativeMessagingHosts/") + text(kManifest);
        const QString firefox =
            m_places.home + text("/.mozilla/native-messaging-hosts/") + text(kManifest);
        for (const QString& manifest : {chromium, firefox})
            QCOMPARE(objectIn(contentOf(manifest))[text("path")].toString(),
                     m_places.hostExecutable);
        QVERIFY(!QFile::exists(m_places.configHome + text("/vivaldi")));
        const QString extension =
            m_places.dataHome + text("/Velomira Usage Monitor/browser-support/chromium/");
        QCOMPARE(contentOf(extension + text("manifest.json")),
                 fileOfExtension(Family::Chromium, "manifest.json"));
        const QString lines = outcome.lines.join(u'\n');
        QVERIFY(lines.contains(text("chrome://extensions")));
        QVERIFY(lines.contains(text("about:debugging")));
        QVERIFY(lines.contains(chromium));
    }

    void aFirefoxThatKeepsItsDataInTheConfigHomeIsSetUpInTheOldPlace()
    {
        QVERIFY(QDir(m_places.home + text("/.mozilla")).removeRecursively());
        QVERIFY(installBrowserSupport(m_places).isDone);
        const QString manifest =
            m_places.home + text("/.mozilla/native-messaging-hosts/") + text(kManifest);
        QVERIFY(!QFile::exists(manifest));
        QVERIFY(QDir().mkpath(m_places.configHome + text("/mozilla")));
        QVERIFY(installBrowserSupport(m_places).isDone);
        QVERIFY(QFile::exists(manifest));
        QVERIFY(removeBrowserSupport(m_places).isDone);
        QVERIFY(!QFile::exists(m_places.home + text("/.mozilla")));
    }

    void theKinOfFirefoxIsSetUpWhereEachLooks_data()
    {
        QTest::addColumn<QString>("data");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("hosts");
        QTest::newRow("LibreWolf") << text("/.librewolf") << text("LibreWolf")
                                   << text("/.librewolf/native-messaging-hosts/");
        QTest::newRow("Waterfox") << text("/.waterfox") << text("Waterfox")
                                  << text("/.waterfox/native-messaging-hosts/");
        QTest::newRow("Zen") << text("/.zen") << text("Zen")
                             << text("/.mozilla/native-messaging-hosts/");
        QTest::newRow("Zen, new place")
            << text("/.config/zen") << text("Zen") << text("/.mozilla/native-messaging-hosts/");
        QTest::newRow("Floorp") << text("/.floorp") << text("Floorp")
                                << text("/.floorp/native-messaging-hosts/");
    }

    void theKinOfFirefoxIsSetUpWhereEachLooks()
    {
        QFETCH(QString, data);
        QFETCH(QString, name);
        QFETCH(QString, hosts);
        QVERIFY(QDir(m_places.home + text("/.mozilla")).removeRecursively());
        QVERIFY(QDir().mkpath(m_places.home + data));
        // The second time nothing has become a Firefox that is used.
        for (int time = 0; time < 2; ++time) {
            QVERIFY(support::writeFile(m_places.home + data + text("/profiles.ini"), ""));
            const auto outcome = installBrowserSupport(m_places);
            QVERIFY2(outcome.isDone, qPrintable(outcome.lines.join(u'\n')));
            const QString manifest = m_places.home + hosts + text(kManifest);
            QVERIFY(outcome.lines.contains(text("%1: wrote %2").arg(name, manifest)));
            QVERIFY(outcome.lines.filter(text("Firefox: ")).isEmpty());
            QCOMPARE(objectIn(contentOf(manifest))[text("path")].toString(),
                     m_places.hostExecutable);
        }
        addProgram(qPrintable(name.toLower()));
        QVERIFY(browserReport(m_places).constFirst().startsWith(
            text("browser %1: set up, but tells no addresses").arg(name)));
    }

    void removingUndoesExactlyThat()
    {
        QVERIFY(installBrowserSupport(m_places).isDone);
        QVERIFY(installBrowserSupport(m_places).isDone);
        QVERIFY(everything() != m_before);
        const auto outcome = removeBrowserSupport(m_places);
        QVERIFY2(outcome.isDone, qPrintable(outcome.lines.join(u'\n')));
        QCOMPARE(everything(), m_before);
        QCOMPARE(removeBrowserSupport(m_places).lines, {text("nothing of ours was there")});
    }

    void whatIsNotOursStays()
    {
        const QString hosts = m_places.configHome + text("/chromium/NativeMessagingHosts/");
        QVERIFY(QDir().mkpath(hosts));
        QVERIFY(support::writeFile(hosts + text("other.json"), "{}"));
        QVERIFY(support::writeFile(hosts + text(kManifest), "somebody else's"));
        const auto outcome = installBrowserSupport(m_places);
        QVERIFY(!outcome.isDone);
        QVERIFY(outcome.lines.constFirst().contains(text("is not ours")));
        QCOMPARE(contentOf(hosts + text(kManifest)), "somebody else's");
        QVERIFY(removeBrowserSupport(m_places).isDone); // that of Firefox
        QCOMPARE(contentOf(hosts + text(kManifest)), "somebody else's");
        QCOMPARE(contentOf(hosts + text("other.json")), "{}");
    }

    void filesThatTheUserHasChangedStay()
    {
        QVERIFY(installBrowserSupport(m_places).isDone);
        const QString manifest =
            m_places.home + text("/.mozilla/native-messaging-hosts/") + text(kManifest);
        QVERIFY(support::writeFile(manifest, "mine now"));
        QVERIFY(removeBrowserSupport(m_places).isDone);
        QCOMPARE(contentOf(manifest), "mine now");
    }

    void withoutAHostNothingIsWritten()
    {
        m_places.hostExecutable.clear();
        QVERIFY(!installBrowserSupport(m_places).isDone);
        QCOMPARE(everything(), m_before);
    }

    void theReportNamesWhatIsMissing()
    {
        QCOMPARE(browserReport(m_places), QStringList());
        addProgram("chromium");
        QCOMPARE(browserReport(m_places),
                 {text("browser Chromium: not set up; see Quillstep --install-browser-support")});
        QVERIFY(installBrowserSupport(m_places).isDone);
        QVERIFY(browserReport(m_places).constFirst().contains(text("set up, but tells no")));
        QVERIFY(QFile::remove(m_places.hostExecutable));
        QVERIFY(browserReport(m_places).constFirst().contains(text("not there any more")));
    }

    void theReportTellsOfAHostThatRuns()
    {
        addProgram("chromium");
        QVERIFY(installBrowserSupport(m_places).isDone);
        addProcess(20, 10, m_places.hostExecutable);
        addProcess(10, 1, text("/usr/lib/chromium/chromium"));
        QCOMPARE(browserReport(m_places), {text("browser Chromium: tells addresses")});
    }

    void manifestsOfPackagesCount()
    {
        addProgram("firefox-esr");
        const QString folder = m_places.root + text("/usr/lib/mozilla/native-messaging-hosts/");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(support::writeFile(
            folder + text(kManifest),
            *platform::browsers::hostManifest(Family::Other, m_places.hostExecutable)));
        QVERIFY(browserReport(m_places).constFirst().contains(text("Firefox: set up, but")));
    }

private:
    void addProgram(const char* name)
    {
        const QString path = m_places.root + text("/bin/") + text(name);
        QVERIFY(support::writeFile(path, "#!/bin/sh\n"));
        QVERIFY(
            QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner));
    }

    void addProcess(int pid, int parent, const QString& executable)
    {
        const QString folder = m_places.procFolder + text("/%1").arg(pid);
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QFile::link(executable, folder + text("/exe")));
        const QString stat = text("%1 (a ) b) S %2").arg(pid).arg(parent) +
                             text(" 0").repeated(17) + text(" 77 0\n");
        QVERIFY(support::writeFile(folder + text("/stat"), stat.toUtf8()));
    }

    /// The paths of all files and folders.
    [[nodiscard]] QStringList everything() const
    {
        QStringList paths;
        QDirIterator all(m_folder->path(),
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
        while (all.hasNext())
            paths += all.next();
        paths.sort();
        return paths;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    SupportPlaces m_places;
    QStringList m_before;
};

QUILLSTEP_TEST(TestBrowserSupport)
#include "tst_browser_support.moc"
