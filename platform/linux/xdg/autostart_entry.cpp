// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/autostart_entry.h"

#include "platform/build_config.h"
#include "platform/linux/xdg/exec_line.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <glib.h>
#include <utility>

namespace platform::xdg {

namespace {

constexpr qint64 kLargestFile = 1024LL * 1024;
constexpr const char* kGroup = G_KEY_FILE_DESKTOP_GROUP;
/// What several desktops write when the user switches an entry off in their settings.
constexpr const char* kSwitch = "X-GNOME-Autostart-enabled";

QString takeText(gchar* text)
{
    return QString::fromUtf8(posix::GlibOwned<gchar>(text).get());
}

} // namespace

AutostartEntry::AutostartEntry()
    : m_file(g_key_file_new())
{
}

std::optional<AutostartEntry> AutostartEntry::read(const QString& path)
{
    if (!QFileInfo(path).isFile()) // anything else, such as a pipe, might never end
        return std::nullopt;
    QFile file(path);
    if (file.size() > kLargestFile || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray content = file.read(kLargestFile);
    const auto flags =
        // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): a set of flags
        static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
    AutostartEntry entry;
    if (g_key_file_load_from_data(entry.m_file.get(),
                                  content.constData(),
                                  static_cast<gsize>(content.size()),
                                  flags,
                                  nullptr) == FALSE)
        return std::nullopt;
    return entry;
}

bool AutostartEntry::starts(const QStringList& desktops, const QStringList& programFolders) const
{
    if (flag(G_KEY_FILE_DESKTOP_KEY_HIDDEN).value_or(false) || !flag(kSwitch).value_or(true))
        return false;
    if (text(G_KEY_FILE_DESKTOP_KEY_TYPE) != QLatin1String(G_KEY_FILE_DESKTOP_TYPE_APPLICATION))
        return false;
    if (!isForOneOf(desktops))
        return false;
    const QString tried = text(G_KEY_FILE_DESKTOP_KEY_TRY_EXEC);
    if (!tried.isEmpty() && !canRun(tried, programFolders))
        return false;
    return canRun(programOfExecLine(text(G_KEY_FILE_DESKTOP_KEY_EXEC)), programFolders);
}

void AutostartEntry::enable(const QString& executable, const QStringList& desktops)
{
    describe(executable);
    remove(G_KEY_FILE_DESKTOP_KEY_HIDDEN);
    remove(G_KEY_FILE_DESKTOP_KEY_TRY_EXEC); // it may name a program that has gone
    g_key_file_set_boolean(m_file.get(), kGroup, kSwitch, TRUE);
    if (!isForOneOf(desktops)) {
        remove(G_KEY_FILE_DESKTOP_KEY_ONLY_SHOW_IN);
        remove(G_KEY_FILE_DESKTOP_KEY_NOT_SHOW_IN);
    }
}

void AutostartEntry::hide(const QString& executable)
{
    describe(executable);
    g_key_file_set_boolean(m_file.get(), kGroup, G_KEY_FILE_DESKTOP_KEY_HIDDEN, TRUE);
}

QByteArray AutostartEntry::content() const
{
    gsize length = 0;
    const posix::GlibOwned<gchar> data(g_key_file_to_data(m_file.get(), &length, nullptr));
    return {data.get(), static_cast<qsizetype>(length)};
}

/// Whether OnlyShowIn and NotShowIn let the desktop take the entry: the first of its names that
/// either lists decides.
bool AutostartEntry::isForOneOf(const QStringList& desktops) const
{
    const QStringList only = list(G_KEY_FILE_DESKTOP_KEY_ONLY_SHOW_IN);
    const QStringList never = list(G_KEY_FILE_DESKTOP_KEY_NOT_SHOW_IN);
    for (const QString& desktop : desktops) {
        if (only.contains(desktop))
            return true;
        if (never.contains(desktop))
            return false;
    }
    return !has(G_KEY_FILE_DESKTOP_KEY_ONLY_SHOW_IN);
}

/// Sets what every entry of ours says. A name and an icon that somebody has given it stay.
void AutostartEntry::describe(const QString& executable)
{
    setText(G_KEY_FILE_DESKTOP_KEY_TYPE, QLatin1String(G_KEY_FILE_DESKTOP_TYPE_APPLICATION));
    if (!has(G_KEY_FILE_DESKTOP_KEY_NAME))
        setText(G_KEY_FILE_DESKTOP_KEY_NAME, QString::fromLatin1(kBundleDisplayName));
    if (!has(G_KEY_FILE_DESKTOP_KEY_ICON))
        setText(G_KEY_FILE_DESKTOP_KEY_ICON, QString::fromLatin1(kBundleIdentifier));
    setText(G_KEY_FILE_DESKTOP_KEY_EXEC, execLine(executable));
}

QString AutostartEntry::text(const char* key) const
{
    return takeText(g_key_file_get_string(m_file.get(), kGroup, key, nullptr));
}

/// None where the key is absent or neither true nor false.
std::optional<bool> AutostartEntry::flag(const char* key) const
{
    GError* error = nullptr;
    const bool value = g_key_file_get_boolean(m_file.get(), kGroup, key, &error) != FALSE;
    if (error == nullptr)
        return value;
    g_error_free(error);
    return std::nullopt;
}

bool AutostartEntry::has(const char* key) const
{
    return g_key_file_has_key(m_file.get(), kGroup, key, nullptr) != FALSE;
}

QStringList AutostartEntry::list(const char* key) const
{
    return text(key).split(u';', Qt::SkipEmptyParts);
}

void AutostartEntry::setText(const char* key, const QString& value)
{
    g_key_file_set_string(m_file.get(), kGroup, key, value.toUtf8().constData());
}

void AutostartEntry::remove(const char* key)
{
    g_key_file_remove_key(m_file.get(), kGroup, key, nullptr);
}

} // namespace platform::xdg
