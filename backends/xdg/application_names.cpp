// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/application_names.h"

#include "backends/xdg/known_browsers.h"
#include "base/build_config.h"

#include <QLatin1StringView>
#include <QLoggingCategory>
#include <QRegularExpression>

#include <algorithm>

namespace platform::xdg {

namespace {
// For developers; off by default. Messages name no application.
Q_LOGGING_CATEGORY(lcApplications, "velomira.applications", QtCriticalMsg)

/// More windows than people switch between.
constexpr int kRememberedAnswers = 64;

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

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

using Rule = const DesktopEntry* (*)(const DesktopEntryIndex&, const QString&);

const DesktopEntry*
firstHit(const QStringList& names, const DesktopEntryIndex& index, const Rule rule)
{
    for (const QString& name : names) {
        if (const DesktopEntry* entry = name.isEmpty() ? nullptr : rule(index, name))
            return entry;
    }
    return nullptr;
}

const DesktopEntry* byExactId(const DesktopEntryIndex& index, const QString& name)
{
    return index.withId(name);
}

const DesktopEntry* byExactClass(const DesktopEntryIndex& index, const QString& name)
{
    return index.withWindowClass(name);
}

const DesktopEntry* byLooseId(const DesktopEntryIndex& index, const QString& name)
{
    if (const DesktopEntry* entry = index.withIdInAnyCase(name))
        return entry;
    if (const DesktopEntry* entry = index.withIdInAnyCase(QString(name).replace(u' ', u'-')))
        return entry;
    return index.withIdInAnyCase(QString(name).remove(u' '));
}

const DesktopEntry* byLooseClass(const DesktopEntryIndex& index, const QString& name)
{
    return index.withWindowClassInAnyCase(name);
}

const DesktopEntry* byProgram(const DesktopEntryIndex& index, const QString& name)
{
    return isInterpreter(name) ? nullptr : index.withProgram(name);
}

const DesktopEntry* byLastComponent(const DesktopEntryIndex& index, const QString& name)
{
    return index.withLastComponent(name);
}

const DesktopEntry* findEntry(const QStringList& identifiers,
                              const ProcessFacts& process,
                              const DesktopEntryIndex& index)
{
    for (const Rule rule : {byExactId, byExactClass, byLooseId, byLooseClass}) {
        if (const DesktopEntry* entry = firstHit(identifiers, index, rule))
            return entry;
    }
    const QStringList ids = QStringList(process.launchedDesktopId) +
                            process.controlGroupDesktopIds + QStringList(process.flatpakId);
    if (const DesktopEntry* entry = firstHit(ids, index, byExactId))
        return entry;
    const QStringList programs = browsers::isNeverAsked(identifiers)
                                     ? QStringList()
                                     : QStringList{process.executable, process.calledAs};
    if (const DesktopEntry* entry = firstHit(programs, index, byProgram))
        return entry;
    return firstHit(identifiers, index, byLastComponent);
}
} // namespace

ApplicationIdentity matchApplication(const QStringList& identifiers,
                                     const ProcessFacts& process,
                                     const DesktopEntryIndex& index)
{
    QStringList names;
    for (const QString& identifier : identifiers)
        names.append(withoutDesktopEnding(identifier));
    names.removeAll(QString());

    if (isThisProgram(names, process))
        return {.identifier = fromView(kBundleIdentifier), .name = fromView(kBundleDisplayName)};
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
    startReading(false);
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

void ApplicationNames::startReading(bool onlyIfChanged)
{
    if (m_reader.joinable())
        m_reader.join(); // it has delivered
    std::packaged_task<IndexPointer()> task(
        [this, before = onlyIfChanged ? m_index.get() : nullptr]() -> IndexPointer {
            if (before != nullptr && before->isUpToDate())
                return nullptr;
            return std::make_unique<const DesktopEntryIndex>(m_folders, &m_watch);
        });
    m_reading = task.get_future();
    m_reader = std::thread(std::move(task));
}

void ApplicationNames::keepUpToDate()
{
    if (m_reading.valid()) {
        if (m_index && m_reading.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            return;
        if (IndexPointer index = m_reading.get()) {
            m_index = std::move(index);
            m_answers.clear();
            ++m_edition;
            qCInfo(lcApplications, "%zu desktop files were read", m_index->size());
        }
        m_checkedAt = Clock::now();
        m_lookedAt = m_checkedAt;
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now - m_checkedAt < m_options.checkInterval)
        return;
    m_checkedAt = now;
    if (!m_watch.isComplete())
        qCDebug(lcApplications, "not every folder is watched: the system has only so many watches");
    if (m_watch.hasChanged())
        startReading(false);
    else if (!m_watch.isComplete() || now - m_lookedAt >= m_options.lookInterval)
        startReading(true);
}

} // namespace platform::xdg
