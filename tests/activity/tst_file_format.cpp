// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The activity file from a start to the end of the process, against files that other programs have
// written: golden/foreign.json is such a list with the habits of another writer, golden/saved.json
// what a store must make of it, byte for byte, when one record has been added.
#include "activity/data_store.h"
#include "backends/posix/posix_atomic_file.h"
#include "tests/fakes/fake_diagnostics.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

using activity::ActivityLog;
using activity::SharedText;

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Without the newline at the end, which is there for editors.
QByteArray golden(const char* name)
{
    return contentOf(QStringLiteral(GOLDEN_FOLDER "/") + QLatin1StringView(name)).trimmed();
}

ActivityLog record(std::string_view id,
                   const char* appName,
                   std::optional<const char*> title,
                   std::optional<const char*> address,
                   double timestamp,
                   double duration)
{
    return {
        .id = *platform::Uuid::fromText(id),
        .appName = SharedText(std::string_view(appName)),
        .windowTitle = title ? std::optional(SharedText(std::string_view(*title))) : std::nullopt,
        .url = address ? std::optional(SharedText(std::string_view(*address))) : std::nullopt,
        .timestamp = timestamp,
        .duration = duration,
    };
}

/// What golden/foreign.json says.
std::vector<ActivityLog> foreignRecords()
{
    const char* const notes = "~/notes: vi \"plan/2026.txt\"\t(1)";
    const char* const browser = "Netz\u00a0Browser \u00fc";
    return {
        record("8C6E1F0A-9B1D-4C57-8A3E-0F5D2B7C9E01", "Terminal", notes, {}, 785000000, 1),
        record("8C6E1F0A-9B1D-4C57-8A3E-0F5D2B7C9E02", "Terminal", notes, {}, 785000001.25, 1),
        record("8C6E1F0A-9B1D-4C57-8A3E-0F5D2B7C9E03",
               browser,
               "\u4f60\u597d \U0001F600 \u2028 end",
               "https://user@www.example.org:8443/a%20b/c?q=secret#part",
               785000002.5,
               1),
        record("8C6E1F0A-9B1D-4C57-8A3E-0F5D2B7C9E04",
               browser,
               "",
               "http://b\u00fccher.example/[x]?from=1",
               785000003.5,
               0.75),
        record("8C6E1F0A-9B1D-4C57-8A3E-0F5D2B7C9E05", "", {}, {}, 785000007.123456, 59.9),
        record("8C6E1F0A-9B1D-4C57-8A3E-0F5D2B7C9E06",
               "Terminal",
               "back\\slash \x01 \x7f",
               "file:///home/x?y",
               785000100,
               120),
    };
}

} // namespace

class TestFileFormat final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    platform::posix::PosixAtomicFiles m_files;
    fakes::FakeDiagnostics m_diagnostics;

    [[nodiscard]] QString path() const { return activity::DataStore::filePathIn(m_home.path()); }

    activity::DataStore::Dependencies dependencies()
    {
        return {
            .applicationSupport = m_home.path(), .files = m_files, .diagnostics = m_diagnostics};
    }

    static std::vector<ActivityLog> records(const activity::DataStore& store)
    {
        return {store.activities().begin(), store.activities().end()};
    }

private Q_SLOTS:

    void aFileOfAnotherWriterIsReadAndGoesOnInOurForm()
    {
        QVERIFY(QDir().mkpath(QFileInfo(path()).path()));
        QVERIFY(QFile::copy(QStringLiteral(GOLDEN_FOLDER "/foreign.json"), path()));
        const ActivityLog added =
            record("01234567-89AB-4DEF-8123-456789ABCDEF", "Editor", "new/", {}, 785000200.5, 1);
        std::vector<ActivityLog> expected = foreignRecords();
        {
            activity::DataStore store(dependencies());
            QVERIFY(records(store) == expected);
            store.addLog(added);
            QVERIFY(store.finishSaving(std::chrono::minutes(1)));
        }
        const QByteArray saved = golden("saved.json");
        QVERIFY(!saved.isEmpty());
        QCOMPARE(contentOf(path()), saved);
        expected.push_back(added);
        const activity::DataStore again(dependencies());
        QVERIFY(records(again) == expected);
        QCOMPARE(m_diagnostics.lines(), QStringList());
    }
};

QUILLSTEP_TEST(TestFileFormat)
#include "tst_file_format.moc"
