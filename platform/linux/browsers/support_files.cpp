// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/support_files.h"

#include <QFile>
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

QByteArray builtIn(const QString& name)
{
    initResources();
    QFile file(QStringLiteral(":/browser/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString folderOf(Family family)
{
    return family == Family::Chromium ? QStringLiteral("chromium") : QStringLiteral("firefox");
}

} // namespace

QString hostName()
{
    return QStringLiteral("com.velomira.usage_monitor");
}

QString hostExecutableName()
{
    return QStringLiteral("velomira-browser-host");
}

std::optional<QByteArray> hostManifest(Family family, const QString& executable)
{
    const auto needsEscaping = [](QChar character) {
        return character == u'"' || character == u'\\' || character < u' ';
    };
    if (!executable.startsWith(u'/') || std::ranges::any_of(executable, needsEscaping))
        return std::nullopt;
    return builtIn(QStringLiteral("host/manifest.%1.json").arg(folderOf(family)))
        .replace("@QUILLSTEP_BROWSER_HOST@", executable.toUtf8());
}

QList<SupportFile> extensionFiles(Family family)
{
    QList<SupportFile> files;
    for (const QString& name : {QStringLiteral("manifest.json"), QStringLiteral("background.js")})
        files.append(
            {.name = name,
             .content = builtIn(QStringLiteral("extension/%1/%2").arg(folderOf(family), name))});
    return files;
}

} // namespace platform::browsers
