// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/kwin/kwin_script_file.h"

#include "platform/linux/kwin/kwin_report.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace platform::kwin {

namespace {

QString privateFolder()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QFileInfo folder(runtime);
    return folder.isDir() && folder.isWritable() ? runtime : QDir::tempPath();
}

/// The script with its blanks filled in. None of the values can end the string that it stands in:
/// they are a bus's unique name, an object path and names of ours.
QString scriptText(const KWinScriptTarget& target, const QString& token)
{
    QFile resource(QStringLiteral(":/kwin/front_window.js"));
    if (!resource.open(QIODevice::ReadOnly))
        return {};
    QString text = QString::fromUtf8(resource.readAll());
    text.replace(QLatin1StringView("@SERVICE@"), target.service);
    text.replace(QLatin1StringView("@PATH@"), target.path);
    text.replace(QLatin1StringView("@INTERFACE@"), reportInterface());
    text.replace(QLatin1StringView("@NAME@"), target.name);
    text.replace(QLatin1StringView("@TOKEN@"), token);
    return text;
}

} // namespace

KWinScriptFile::KWinScriptFile(const QString& nameTemplate)
    : m_file(nameTemplate)
{
}

Result<std::unique_ptr<KWinScriptFile>> KWinScriptFile::write(const KWinScriptTarget& target,
                                                              const QString& token)
{
    // QTemporaryFile makes files that only their owner may read.
    std::unique_ptr<KWinScriptFile> file(
        new KWinScriptFile(privateFolder() + QLatin1StringView("/velomira-XXXXXX.js")));
    const QByteArray text = scriptText(target, token).toUtf8();
    if (text.isEmpty() || !file->m_file.open() || file->m_file.write(text) != text.size() ||
        !file->m_file.flush())
        return Error{QStringLiteral("cannot write the script: %1").arg(file->m_file.errorString())};
    file->m_file.close();
    return file;
}

} // namespace platform::kwin
