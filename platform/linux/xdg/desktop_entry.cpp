// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/desktop_entry.h"

#include "platform/linux/posix/glib_owned.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

#include <glib.h>

namespace platform::xdg {

namespace {
/// The largest real ones, with every translation, have some 100 KB.
constexpr qint64 kLargestFile = 1024LL * 1024;

using KeyFile = posix::GlibOwned<GKeyFile>;

constexpr const char* kGroup = G_KEY_FILE_DESKTOP_GROUP;

QString takeText(gchar* text)
{
    return QString::fromUtf8(posix::GlibOwned<gchar>(text).get());
}

QString textOf(const KeyFile& file, const char* key)
{
    return takeText(g_key_file_get_string(file.get(), kGroup, key, nullptr));
}

bool isTrue(const KeyFile& file, const char* key)
{
    return g_key_file_get_boolean(file.get(), kGroup, key, nullptr) != FALSE;
}

/// The file name of the program that `exec` starts, also through "env NAME=VALUE ...".
QString programOf(const QString& exec)
{
    gchar** parsed = nullptr;
    if (g_shell_parse_argv(exec.toUtf8().constData(), nullptr, &parsed, nullptr) == FALSE)
        return {};
    const posix::GlibOwned<gchar*> words(parsed);
    for (gchar** word = words.get(); *word != nullptr; ++word) {
        const QString path = QString::fromUtf8(*word);
        const QString name = path.mid(path.lastIndexOf(u'/') + 1);
        if (name != QLatin1String("env") && !path.contains(u'='))
            return name;
    }
    return {};
}
} // namespace

std::optional<DesktopEntry> readDesktopEntry(const QString& path, const QString& id)
{
    // Not GDesktopAppInfo, which refuses entries whose program it does not find.
    if (!QFileInfo(path).isFile()) // anything else, such as a pipe, might never end
        return std::nullopt;
    QFile file(path);
    if (file.size() > kLargestFile || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray content = file.read(kLargestFile);

    const KeyFile keys(g_key_file_new());
    if (g_key_file_load_from_data(keys.get(),
                                  content.constData(),
                                  static_cast<gsize>(content.size()),
                                  G_KEY_FILE_NONE,
                                  nullptr) == FALSE)
        return std::nullopt;
    const bool hidden = isTrue(keys, G_KEY_FILE_DESKTOP_KEY_HIDDEN);
    const QString type = textOf(keys, G_KEY_FILE_DESKTOP_KEY_TYPE);
    if (!hidden && type != QLatin1String(G_KEY_FILE_DESKTOP_TYPE_APPLICATION))
        return std::nullopt;
    return DesktopEntry{
        .id = id,
        .name = takeText(g_key_file_get_locale_string(
            keys.get(), kGroup, G_KEY_FILE_DESKTOP_KEY_NAME, nullptr, nullptr)),
        .startupWmClass = textOf(keys, G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS),
        .program = programOf(textOf(keys, G_KEY_FILE_DESKTOP_KEY_EXEC)),
        .shown = !isTrue(keys, G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY),
        .hidden = hidden,
    };
}

} // namespace platform::xdg
