// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/application_matcher.h"

#include "platform/build_config.h"
#include "platform/linux/browsers/identifier_dialects.h"
#include "platform/linux/xdg/desktop_id.h"

#include <QLatin1StringView>
#include <QRegularExpression>

#include <algorithm>

namespace platform::xdg {

namespace {
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

} // namespace platform::xdg
