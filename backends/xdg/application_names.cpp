// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/application_names.h"

#include "backends/posix/process.h"
#include "backends/xdg/desktop_entry_index.h"
#include "backends/xdg/known_browsers.h"
#include "base/build_config.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>
#include <QList>
#include <QLoggingCategory>
#include <QRegularExpression>

#include <algorithm>
#include <functional>
#include <optional>

namespace platform::xdg {

namespace {

constexpr qint64 kSmallFile = 16LL * 1024;
/// The kernel allows far larger ones; such a process just goes without this fact.
constexpr qint64 kLargestEnvironment = 1024LL * 1024;

/// `bytes` before the first `end`, all of it when there is none.
QByteArray upTo(const QByteArray& bytes, char end)
{
    return bytes.split(end).constFirst();
}

QString baseName(const QString& path)
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

std::optional<QByteArray> variableIn(const QByteArray& environment, const QByteArray& name)
{
    for (const QByteArray& variable : environment.split('\0')) {
        if (variable.startsWith(name + '='))
            return variable.mid(name.size() + 1);
    }
    return std::nullopt;
}

QString launchedDesktopIdIn(const QByteArray& environment, std::int32_t pid)
{
    // Children inherit the variables; only the launched process carries its own number.
    if (variableIn(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID") != QByteArray::number(pid))
        return {};
    const auto file = variableIn(environment, "GIO_LAUNCHED_DESKTOP_FILE");
    return desktopIdOfFile(QString::fromLocal8Bit(file.value_or(QByteArray())));
}

/// Undoes systemd's escaping: \xHH stands for a byte.
QString unescaped(QByteArray name)
{
    constexpr qsizetype kEscapeLength = 4;
    for (qsizetype at = name.indexOf("\\x"); at >= 0; at = name.indexOf("\\x", at + 1)) {
        bool isNumber = false;
        const int byte = name.mid(at + 2, 2).toInt(&isNumber, 16);
        if (isNumber && at + kEscapeLength <= name.size())
            name.replace(at, kEscapeLength, QByteArray(1, static_cast<char>(byte)));
    }
    return QString::fromUtf8(name);
}

/// The part of an application's unit name that holds the id, perhaps with the launcher before it:
/// app[-LAUNCHER]-ID-RANDOM.scope or app[-LAUNCHER]-ID[@RANDOM].service.
QByteArray idPartOfUnit(const QByteArray& unit)
{
    constexpr QByteArrayView kPrefix("app-");
    constexpr QByteArrayView kScope(".scope");
    constexpr QByteArrayView kService(".service");
    if (!unit.startsWith(kPrefix))
        return {};
    const QByteArray name = unit.mid(kPrefix.size());
    if (name.endsWith(kScope))
        return name.left(name.lastIndexOf('-')); // nothing without a random part
    if (name.endsWith(kService)) {
        const QByteArray stem = name.chopped(kService.size());
        return upTo(stem, '@');
    }
    return {};
}

QStringList desktopIdsInControlGroup(const QByteArray& cgroup)
{
    QStringList ids;
    for (const QByteArray& line : cgroup.split('\n')) {
        for (const QByteArray& unit : line.split('/')) {
            const QByteArray part = idPartOfUnit(unit);
            if (part.isEmpty())
                continue;
            const qsizetype hyphen = part.indexOf('-');
            if (hyphen >= 0)
                ids.append(unescaped(part.mid(hyphen + 1)));
            ids.append(unescaped(part));
        }
    }
    ids.removeDuplicates();
    return ids;
}

QString flatpakIdIn(const QByteArray& info)
{
    constexpr QByteArrayView kName("name=");
    bool inApplication = false;
    for (const QByteArray& line : info.split('\n')) {
        if (line.startsWith('['))
            inApplication = line.trimmed() == "[Application]";
        if (inApplication && line.startsWith(kName))
            return QString::fromUtf8(line.mid(kName.size()).trimmed());
    }
    return {};
}

// For developers; off by default. Messages name no application.
Q_LOGGING_CATEGORY(lcApplications, "velomira.applications", QtCriticalMsg)

/// More windows than people switch between.
constexpr int kRememberedAnswers = 64;

constexpr std::chrono::milliseconds kWithoutWatches = std::chrono::minutes(1);

/// Programs that run others: many applications share one, so it tells nothing.
bool isInterpreter(const QString& program)
{
    static const QRegularExpression kInterpreter(QRegularExpression::anchoredPattern(QStringLiteral(
        "-?(python[\\d.]*|perl[\\d.]*|ruby[\\d.]*|lua[\\d.]*|node|nodejs|gjs(-console)?|"
        "java|mono|wine(64)?(-preloader)?|electron[\\d.]*|bash|dash|sh|zsh|fish|env|"
        "flatpak|snap|sudo|pkexec|bwrap|AppRun)")));
    return kInterpreter.match(program).hasMatch();
}

bool isThisProgram(const QStringList& names, const ProcessFacts& process)
{
    static constexpr QLatin1StringView kIdentifier(kBundleIdentifier.data(),
                                                   kBundleIdentifier.size());
    static constexpr QLatin1StringView kProgram(kExecutable.data(), kExecutable.size());
    return process.executable == kProgram || std::ranges::any_of(names, [](const QString& name) {
               return name.compare(kIdentifier, Qt::CaseInsensitive) == 0 ||
                      name.compare(kProgram, Qt::CaseInsensitive) == 0;
           });
}

const DesktopEntry* byLooseId(const DesktopEntryIndex& index, const QString& name)
{
    if (const DesktopEntry* entry = index.withIdInAnyCase(name))
        return entry;
    if (const DesktopEntry* entry = index.withIdInAnyCase(QString(name).replace(u' ', u'-')))
        return entry;
    return index.withIdInAnyCase(QString(name).remove(u' '));
}

const DesktopEntry* byProgram(const DesktopEntryIndex& index, const QString& name)
{
    return isInterpreter(name) ? nullptr : index.withProgram(name);
}

const DesktopEntry* findEntry(const QStringList& identifiers,
                              const ProcessFacts& process,
                              const DesktopEntryIndex& index)
{
    using Index = DesktopEntryIndex;
    const auto find = [&index](const QStringList& names, auto rule) -> const DesktopEntry* {
        for (const QString& name : names) {
            if (const auto* entry = name.isEmpty() ? nullptr : std::invoke(rule, index, name))
                return entry;
        }
        return nullptr;
    };
    if (const auto* entry = find(identifiers, &Index::withId))
        return entry;
    if (const auto* entry = find(identifiers, &Index::withWindowClass))
        return entry;
    if (const auto* entry = find(identifiers, byLooseId))
        return entry;
    if (const auto* entry = find(identifiers, &Index::withWindowClassInAnyCase))
        return entry;
    const QStringList ids = QStringList(process.launchedDesktopId) +
                            process.controlGroupDesktopIds + QStringList(process.flatpakId);
    if (const auto* entry = find(ids, &Index::withId))
        return entry;
    const QStringList programs = browsers::isNeverAsked(identifiers)
                                     ? QStringList()
                                     : QStringList{process.executable, process.calledAs};
    if (const auto* entry = find(programs, byProgram))
        return entry;
    return find(identifiers, &Index::withLastComponent);
}

} // namespace

ProcessFacts readProcessFacts(std::int32_t pid, const QString& procFolder)
{
    if (pid <= 0)
        return {};
    const auto contentOf = [pid, &procFolder](const char* name, qint64 limit = kSmallFile) {
        return posix::readProcessFile(pid, name, limit, procFolder);
    };
    return {
        .launchedDesktopId = launchedDesktopIdIn(contentOf("environ", kLargestEnvironment), pid),
        .controlGroupDesktopIds = desktopIdsInControlGroup(contentOf("cgroup")),
        .flatpakId = flatpakIdIn(contentOf("root/.flatpak-info")),
        .executable = baseName(posix::readExecutable(pid, procFolder)),
        .calledAs = baseName(QString::fromLocal8Bit(upTo(contentOf("cmdline"), '\0'))),
        .commandName = QString::fromLocal8Bit(contentOf("comm").trimmed()),
    };
}

ApplicationIdentity matchApplication(const QStringList& identifiers,
                                     const ProcessFacts& process,
                                     const DesktopEntryIndex& index)
{
    QStringList names;
    for (const QString& identifier : identifiers)
        names.append(withoutDesktopEnding(identifier));
    names.removeAll(QString());

    if (isThisProgram(names, process))
        return {.identifier = QString::fromUtf8(kBundleIdentifier),
                .name = QString::fromUtf8(kBundleDisplayName)};
    if (const DesktopEntry* entry = findEntry(names, process, index))
        return {.identifier = entry->id, .name = entry->name.isEmpty() ? entry->id : entry->name};
    if (!names.isEmpty())
        return {.identifier = names.constFirst(), .name = names.constFirst()};
    if (!process.commandName.isEmpty())
        return {.identifier = std::nullopt, .name = process.commandName};
    return {};
}

ApplicationNames::ApplicationNames(QStringList folders)
    : ApplicationNames(std::move(folders), Options())
{
}

ApplicationNames::ApplicationNames(QStringList folders, Options options)
    : m_folders(std::move(folders))
    , m_options(std::move(options))
    , m_answers(kRememberedAnswers)
{
    startReading();
}

ApplicationNames::~ApplicationNames()
{
    m_reader.join();
}

ApplicationIdentity ApplicationNames::identify(const QStringList& identifiers, std::int32_t pid)
{
    keepUpToDate();
    const Question question(identifiers, pid);
    if (const ApplicationIdentity* known = m_answers.object(question))
        return *known;
    const ApplicationIdentity identity =
        matchApplication(identifiers, readProcessFacts(pid, m_options.procFolder), *m_index);
    m_answers.insert(question, std::make_unique<ApplicationIdentity>(identity).release());
    return identity;
}

int ApplicationNames::edition()
{
    keepUpToDate();
    return m_edition;
}

void ApplicationNames::startReading()
{
    if (m_reader.joinable())
        m_reader.join(); // it has delivered
    std::packaged_task<IndexPointer()> task(
        [this] { return std::make_unique<const DesktopEntryIndex>(m_folders, &m_watch); });
    m_reading = task.get_future();
    m_reader = std::thread(std::move(task));
}

void ApplicationNames::keepUpToDate()
{
    if (m_reading.valid()) {
        if (m_index && m_reading.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            return;
        m_index = m_reading.get();
        m_answers.clear();
        ++m_edition;
        qCInfo(lcApplications, "%zu desktop files were read", m_index->size());
        m_checkedAt = Clock::now();
        m_readAt = m_checkedAt;
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now - m_checkedAt < m_options.checkInterval)
        return;
    m_checkedAt = now;
    if (!m_watch.isComplete())
        qCDebug(lcApplications, "not every folder is watched: the system has only so many watches");
    const auto interval = m_watch.isComplete() ? m_options.rereadInterval : kWithoutWatches;
    if (m_watch.hasChanged() || now - m_readAt >= interval)
        startReading();
}

} // namespace platform::xdg
