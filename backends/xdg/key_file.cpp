// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/key_file.h"

#include <QFile>
#include <QFileInfo>

#include <glib.h>

namespace platform::xdg {

namespace {

/// The largest real ones, with every translation, have some 100 KB.
constexpr qint64 kLargestFile = 1024LL * 1024;
constexpr const char* kGroup = G_KEY_FILE_DESKTOP_GROUP;

QString takeText(gchar* text)
{
    return QString::fromUtf8(posix::GlibOwned<gchar>(text).get());
}

/// Whether `program` is the one that sets variables and then runs its arguments.
bool isEnv(const QString& program)
{
    return program.mid(program.lastIndexOf(u'/') + 1) == QLatin1String("env");
}

} // namespace

KeyFile::KeyFile()
    : m_file(g_key_file_new())
{
}

std::optional<KeyFile> KeyFile::read(const QString& path, Purpose purpose)
{
    if (!QFileInfo(path).isFile()) // anything else, such as a pipe, might never end
        return std::nullopt;
    QFile file(path);
    if (file.size() > kLargestFile || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray content = file.read(kLargestFile);
    const auto flags =
        purpose == Purpose::Reading
            ? G_KEY_FILE_NONE
            // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): a set of flags
            : static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
    KeyFile keys;
    if (g_key_file_load_from_data(keys.m_file.get(),
                                  content.constData(),
                                  static_cast<gsize>(content.size()),
                                  flags,
                                  nullptr) == FALSE)
        return std::nullopt;
    return keys;
}

bool KeyFile::has(const char* key) const
{
    return g_key_file_has_key(m_file.get(), kGroup, key, nullptr) != FALSE;
}

QString KeyFile::text(const char* key) const
{
    return takeText(g_key_file_get_string(m_file.get(), kGroup, key, nullptr));
}

QString KeyFile::localText(const char* key) const
{
    return takeText(g_key_file_get_locale_string(m_file.get(), kGroup, key, nullptr, nullptr));
}

std::optional<bool> KeyFile::flag(const char* key) const
{
    GError* error = nullptr;
    const bool value = g_key_file_get_boolean(m_file.get(), kGroup, key, &error) != FALSE;
    if (error == nullptr)
        return value;
    g_error_free(error);
    return std::nullopt;
}

QStringList KeyFile::list(const char* key) const
{
    return text(key).split(u';', Qt::SkipEmptyParts);
}

void KeyFile::setText(const char* key, const QString& value)
{
    g_key_file_set_string(m_file.get(), kGroup, key, value.toUtf8().constData());
}

void KeyFile::setFlag(const char* key, bool value)
{
    g_key_file_set_boolean(m_file.get(), kGroup, key, value ? TRUE : FALSE);
}

void KeyFile::remove(const char* key)
{
    g_key_file_remove_key(m_file.get(), kGroup, key, nullptr);
}

QByteArray KeyFile::content() const
{
    gsize length = 0;
    const posix::GlibOwned<gchar> data(g_key_file_to_data(m_file.get(), &length, nullptr));
    return {data.get(), static_cast<qsizetype>(length)};
}

QString programOfExecLine(const QString& line)
{
    gchar** parsed = nullptr;
    if (g_shell_parse_argv(line.toUtf8().constData(), nullptr, &parsed, nullptr) == FALSE)
        return {};
    const posix::GlibOwned<gchar*> words(parsed);
    gchar** word = words.get();
    if (isEnv(QString::fromUtf8(*word))) {
        do
            ++word;
        while (*word != nullptr && QString::fromUtf8(*word).contains(u'='));
    }
    return QString::fromUtf8(*word).replace(QLatin1String("%%"), QLatin1String("%"));
}

} // namespace platform::xdg
