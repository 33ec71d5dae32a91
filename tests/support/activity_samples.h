// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_file_reader.h"
#include "activity/activity_list.h"
#include "activity/activity_log_json.h"

#include <QBuffer>
#include <QByteArray>
#include <QFile>
#include <QFileInfo>

#include <optional>
#include <string>
#include <vector>

/// Records and their JSON form for tests.
namespace samples {

inline activity::ActivityLog
log(std::string_view appName, std::string_view title = "a title", double timestamp = 785000000.25)
{
    return {
        .appName = activity::SharedText(appName),
        .windowTitle = activity::SharedText(title),
        .url = std::nullopt,
        .timestamp = timestamp,
        .duration = 1.0,
    };
}

/// `count` records that differ in name and time.
inline activity::ActivityList list(std::size_t count)
{
    activity::ActivityList made;
    for (std::size_t i = 0; i < count; ++i)
        made.append(log("app " + std::to_string(i), "title", static_cast<double>(i)));
    return made;
}

inline std::vector<activity::ActivityLog> records(const activity::ActivityList& list)
{
    return {list.begin(), list.end()};
}

/// The text of a file that holds `list`.
inline QByteArray json(const activity::ActivityList& list)
{
    std::string text = "[";
    for (const activity::ActivityLog& log : list) {
        if (text.size() > 1)
            text += ',';
        if (!activity::appendActivityLog(text, log))
            qFatal("a sample record cannot be encoded");
    }
    return QByteArray::fromStdString(text + ']');
}

/// What the reader makes of `text`.
inline std::optional<activity::ActivityList> read(QByteArray text)
{
    QBuffer buffer(&text);
    if (!buffer.open(QIODevice::ReadOnly))
        qFatal("the buffer does not open");
    activity::TextPool pool;
    return activity::readActivityFile(buffer, pool);
}

/// The content of the regular file `path`; nothing when there is none.
inline QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) ? file.readAll()
                                                                      : QByteArray();
}

} // namespace samples
