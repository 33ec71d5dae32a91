// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/page_addresses/browser_support.h"

#include "backends/page_addresses/browser_reports.h"
#include "backends/posix/posix_atomic_file.h"
#include "backends/xdg/base_directories.h"
#include "backends/xdg/known_browsers.h"
#include "base/result.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QStringList>

#include <algorithm>

// Of a static library, so named at the place of use; must stand outside of every namespace.
static void initResources()
{
    Q_INIT_RESOURCE(browser_support);
    Q_INIT_RESOURCE(browser_extension);
}

namespace platform::browsers {

namespace {

// What is in every file of ours and in no other.
constexpr const char* kMarkOfManifest = R"("com.velomira.usage_monitor")";
constexpr const char* kMarkOfExtension = "The Velomira Usage Monitor authors";
constexpr const char* kMarkOfExtensionManifest = "Velomira Usage Monitor";
constexpr qint64 kLongestFile = 1024LL * 1024;

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) ? file.read(kLongestFile)
                                                                      : QByteArray();
}

Outcome save(const QString& path, const QByteArray& content)
{
    if (const Outcome written = posix::replaceFile(path, content); !written)
        return Error{QStringLiteral("cannot write %1: %2").arg(path, written.error().text)};
    return success();
}

/// Creates files and remembers them in a file of its own, an undo log, so that exactly they can be
/// taken away again.
/// One thread. Blocks on the disk.
class SupportJournal final
{
public:
    /// Keeps its list in the file "created" in `folder`, which it creates with everything else.
    explicit SupportJournal(const QString& folder)
        : m_list(folder + QStringLiteral("/created"))
        , m_created(QString::fromUtf8(contentOf(m_list)).split(u'\n', Qt::SkipEmptyParts))
    {
    }

    /// Writes a file and the folders that lead to it. One that is there already is replaced only
    /// if it holds `mark`.
    [[nodiscard]] Outcome
    write(const QString& path, const QByteArray& content, const QByteArray& mark)
    {
        const QFileInfo info(path);
        if ((info.exists() || info.isSymLink()) && !contentOf(path).contains(mark))
            return Error{QStringLiteral("%1 is not ours and stays as it is").arg(path)};
        if (const auto made = makeFolder(info.path()); !made)
            return made;
        if (const auto remembered = remember(path); !remembered)
            return remembered;
        return save(path, content);
    }

    /// Removes the files that still hold one of `marks`, then the folders that are empty, then the
    /// list. The result is what has been removed of the files.
    [[nodiscard]] Result<QStringList> undo(const QList<QByteArray>& marks)
    {
        QStringList removed;
        QStringList folders;
        for (const QString& path : std::as_const(m_created)) {
            if (QFileInfo(path).isDir()) {
                folders += path;
                continue;
            }
            const QByteArray content = contentOf(path);
            const bool isOurs = std::ranges::any_of(
                marks, [&content](const QByteArray& mark) { return content.contains(mark); });
            if (isOurs && !QFile::remove(path))
                return Error{QStringLiteral("cannot remove ") + path};
            if (isOurs)
                removed += path;
        }
        QFile::remove(m_list);
        // The deeper ones first; others' files keep a folder.
        std::ranges::sort(folders, std::ranges::greater(), &QString::size);
        for (const QString& folder : std::as_const(folders))
            QDir().rmdir(folder);
        m_created.clear();
        return removed;
    }

private:
    [[nodiscard]] Outcome makeFolder(const QString& path)
    {
        if (QFileInfo(path).isDir())
            return success();
        if (const auto made = makeFolder(QFileInfo(path).path()); !made)
            return made;
        if (!QDir().mkdir(path))
            return Error{QStringLiteral("cannot create the folder %1").arg(path)};
        return remember(path);
    }

    /// Known before it is there, so that nothing is forgotten whatever happens. The folders of the
    /// list itself come first and are written down with the next entry.
    [[nodiscard]] Outcome remember(const QString& path)
    {
        if (m_created.contains(path))
            return success();
        m_created += path;
        if (!QFileInfo(QFileInfo(m_list).path()).isDir()) {
            if (m_list.startsWith(path + u'/'))
                return success();
            if (const auto made = makeFolder(QFileInfo(m_list).path()); !made)
                return made;
        }
        return save(m_list, (m_created.join(u'\n') + u'\n').toUtf8());
    }

    QString m_list;
    QStringList m_created;
};

QByteArray builtIn(const QString& name)
{
    initResources();
    QFile file(QStringLiteral(":/browser/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString nameOf(Family family)
{
    return family == Family::Chromium ? QStringLiteral("chromium") : QStringLiteral("firefox");
}

QString hostExecutableName()
{
    return QStringLiteral("velomira-browser-host");
}

QString folderOf(const KnownBrowser& browser, const SupportPlaces& places)
{
    return (browser.family == Family::Chromium ? places.configHome : places.home) + u'/';
}

/// Whether there is nothing in `data` but host manifests, for which others look there, too.
bool isForOthersOnly(const KnownBrowser& browser, const QDir& data)
{
    const QString manifests = browser.manifestFolder();
    const auto sharing =
        std::ranges::count(knownBrowsers(), manifests, &KnownBrowser::manifestFolder);
    return sharing > 1 && data.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot) ==
                              QStringList{QFileInfo(manifests).fileName()};
}

/// Whether the user has used the browser, and it runs our extension.
bool isUsed(const KnownBrowser& browser, const SupportPlaces& places)
{
    if (browser.dataFolder.isEmpty())
        return false;
    const QDir data(folderOf(browser, places) + browser.dataFolder);
    return (data.exists() && !isForOthersOnly(browser, data)) ||
           (!browser.newDataFolder.isEmpty() &&
            QFileInfo(places.configHome + u'/' + browser.newDataFolder).isDir());
}

QString userManifestOf(const KnownBrowser& browser, const SupportPlaces& places)
{
    return folderOf(browser, places) + browser.manifestFolder() + u'/' + hostName() +
           QLatin1StringView(".json");
}

QString supportFolder(const SupportPlaces& places)
{
    return places.dataHome + QStringLiteral("/Velomira Usage Monitor/browser-support");
}

QString extensionFolder(Family family, const SupportPlaces& places)
{
    return supportFolder(places) + u'/' + nameOf(family);
}

/// What nobody but the user may do.
QString loadingAdvice(const KnownBrowser& browser, const SupportPlaces& places)
{
    const QString folder = extensionFolder(browser.family, places);
    if (browser.family == Family::Chromium)
        return QStringLiteral("%1: open chrome://extensions, switch \"Developer mode\" on, choose "
                              "\"Load unpacked\" and then the folder %2")
            .arg(browser.name, folder);
    return QStringLiteral("%1: open about:debugging#/runtime/this-firefox, choose \"Load Temporary "
                          "Add-on\" and then %2/manifest.json; it is gone when %1 ends, because "
                          "only add-ons that Mozilla has signed or a package has installed stay")
        .arg(browser.name, folder);
}

Outcome writeExtension(SupportJournal& journal, Family family, const SupportPlaces& places)
{
    const QString folder = extensionFolder(family, places);
    for (const SupportFile& file : extensionFiles(family)) {
        const char* mark = file.name.endsWith(QLatin1StringView(".js")) ? kMarkOfExtension
                                                                        : kMarkOfExtensionManifest;
        if (const auto written = journal.write(folder + u'/' + file.name, file.content, mark);
            !written)
            return written;
    }
    return success();
}

Outcome setUp(SupportJournal& journal, const KnownBrowser& browser, const SupportPlaces& places)
{
    const auto manifest = hostManifest(browser.family, places.hostExecutable);
    if (!manifest)
        return Error{QStringLiteral("the native host's path cannot be named in a manifest")};
    if (const auto written =
            journal.write(userManifestOf(browser, places), *manifest, kMarkOfManifest);
        !written)
        return written;
    return writeExtension(journal, browser.family, places);
}

/// The executable that a host manifest leads to; none when there is no manifest of ours.
std::optional<QString> hostNamedIn(const QString& manifest)
{
    const QByteArray content = contentOf(manifest);
    constexpr QByteArrayView kPath(R"("path": ")");
    const qsizetype at = content.indexOf(kPath);
    if (!content.contains(kMarkOfManifest) || at < 0)
        return std::nullopt;
    const QByteArray rest = content.mid(at + kPath.size());
    return QString::fromUtf8(rest.left(rest.indexOf('"')));
}

/// The names of the executables whose browsers have started a host.
QStringList connectedExecutables(const SupportPlaces& places)
{
    QStringList names;
    for (const QString& name :
         QDir(places.procFolder).entryList({QStringLiteral("[0-9]*")}, QDir::Dirs)) {
        const auto child = readBrowserChild(name.toInt(), places.procFolder);
        if (child && QFileInfo(child->executable).fileName() == hostExecutableName())
            names += QFileInfo(child->browserExecutable).fileName();
    }
    return names;
}

bool isInstalled(const KnownBrowser& browser, const SupportPlaces& places)
{
    return std::ranges::any_of(places.programFolders, [&browser](const QString& folder) {
        return std::ranges::any_of(browser.programs, [&folder](const QString& program) {
            return QFileInfo(folder + u'/' + program).isExecutable();
        });
    });
}

QString
stateOf(const KnownBrowser& browser, const SupportPlaces& places, const QStringList& connected)
{
    const auto runs = [&connected](const QString& name) {
        return connected.contains(name);
    };
    auto host = hostNamedIn(userManifestOf(browser, places));
    if (!host && !browser.systemManifestFolder.isEmpty())
        host = hostNamedIn(places.root + browser.systemManifestFolder + u'/' + hostName() +
                           QLatin1StringView(".json"));
    if (!host)
        return QStringLiteral("not set up; see Quillstep --install-browser-support");
    if (!QFileInfo(*host).isExecutable())
        return QStringLiteral("set up for a native host that is not there any more; run Quillstep "
                              "--install-browser-support");
    if (std::ranges::any_of(browser.executables, runs))
        return QStringLiteral("tells addresses");
    return QStringLiteral("set up, but tells no addresses: it or Quillstep does not run, or the "
                          "extension is not loaded or switched off");
}

} // namespace

QString hostName()
{
    return QStringLiteral("com.velomira.usage_monitor");
}

std::optional<QByteArray> hostManifest(Family family, const QString& executable)
{
    const auto needsEscaping = [](QChar character) {
        return character == u'"' || character == u'\\' || character < u' ';
    };
    if (!executable.startsWith(u'/') || std::ranges::any_of(executable, needsEscaping))
        return std::nullopt;
    return builtIn(QStringLiteral("host/manifest.%1.json").arg(nameOf(family)))
        .replace("@QUILLSTEP_BROWSER_HOST@", executable.toUtf8());
}

QList<SupportFile> extensionFiles(Family family)
{
    QList<SupportFile> files;
    for (const QString& name : {QStringLiteral("manifest.json"), QStringLiteral("background.js")})
        files.append(
            {.name = name,
             .content = builtIn(QStringLiteral("extension/%1/%2").arg(nameOf(family), name))});
    return files;
}

std::optional<SupportPlaces> supportPlaces(const QProcessEnvironment& environment)
{
    const QString home = environment.value(QStringLiteral("HOME"));
    const auto configHome = xdg::configHome(environment);
    const auto dataHome = xdg::dataHome(environment);
    if (!home.startsWith(u'/') || !configHome || !dataHome)
        return std::nullopt;
    return SupportPlaces{
        .home = home,
        .configHome = *configHome,
        .dataHome = *dataHome,
        .programFolders = environment.value(QStringLiteral("PATH")).split(u':', Qt::SkipEmptyParts),
        .hostExecutable = installedHostExecutable(),
        .root = {},
    };
}

QString installedHostExecutable()
{
    return QFileInfo(QCoreApplication::applicationDirPath() + u'/' + hostExecutableName())
        .canonicalFilePath();
}

SupportOutcome installBrowserSupport(const SupportPlaces& places)
{
    if (places.hostExecutable.isEmpty())
        return {.isDone = false,
                .lines = {QStringLiteral("%1 is not installed beside this program")
                              .arg(hostExecutableName())}};
    SupportOutcome outcome;
    QStringList advice;
    SupportJournal journal(supportFolder(places));
    for (const KnownBrowser& browser : knownBrowsers()) {
        if (!isUsed(browser, places))
            continue;
        const auto done = setUp(journal, browser, places);
        if (!done) {
            outcome.isDone = false;
            outcome.lines += QStringLiteral("%1: %2").arg(browser.name, done.error().text);
            continue;
        }
        outcome.lines +=
            QStringLiteral("%1: wrote %2").arg(browser.name, userManifestOf(browser, places));
        advice += loadingAdvice(browser, places);
    }
    if (outcome.lines.isEmpty())
        outcome.lines += QStringLiteral("no browser has been used yet that could be set up");
    if (!advice.isEmpty())
        outcome.lines += QStringLiteral("What is left to do, in each browser once:");
    outcome.lines += advice;
    return outcome;
}

SupportOutcome removeBrowserSupport(const SupportPlaces& places)
{
    SupportJournal journal(supportFolder(places));
    const auto removed =
        journal.undo({kMarkOfManifest, kMarkOfExtension, kMarkOfExtensionManifest});
    if (!removed)
        return {.isDone = false, .lines = {removed.error().text}};
    if (removed.value().isEmpty())
        return {.isDone = true, .lines = {QStringLiteral("nothing of ours was there")}};
    SupportOutcome outcome;
    for (const QString& path : removed.value())
        outcome.lines += QStringLiteral("removed ") + path;
    outcome.lines += QStringLiteral("Remove the extension in the browsers that have it loaded.");
    return outcome;
}

QStringList browserReport(const SupportPlaces& places)
{
    const QStringList connected = connectedExecutables(places);
    QStringList lines;
    for (const KnownBrowser& browser : knownBrowsers()) {
        if (isInstalled(browser, places))
            lines += QStringLiteral("browser %1: %2")
                         .arg(browser.name, stateOf(browser, places, connected));
    }
    return lines;
}

} // namespace platform::browsers
