// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/settings_file.h"

#include <QFile>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <sstream>
#include <string>

namespace service {

namespace {

Error atLine(const QString& path, int line, const std::string& problem)
{
    return {withoutPassword(path) + ':' + std::to_string(line) + ": " + problem};
}

} // namespace

Result<std::map<QString, FileSetting>> readSettingsFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error{"cannot read " + withoutPassword(path) + ": " +
                     file.errorString().toStdString()};
    std::map<QString, FileSetting> settings;
    // Line by line, as the library does not tell afterwards where a key stood.
    for (int line = 1; !file.atEnd(); ++line) {
        const QByteArray bytes = file.readLine();
        if (bytes.trimmed().startsWith('['))
            return atLine(path, line, "there are no sections");
        std::istringstream text(bytes.toStdString());
        boost::property_tree::ptree read;
        try {
            boost::property_tree::read_ini(text, read);
        } catch (const boost::property_tree::ini_parser_error& fault) {
            return atLine(path, line, fault.message());
        }
        for (const auto& [key, value] : read) {
            const QString name = QString::fromStdString(key);
            const FileSetting setting{.value = QString::fromStdString(value.data()), .line = line};
            if (!settings.emplace(name, setting).second)
                return atLine(path, line, '"' + withoutPassword(name) + "\" stands there twice");
        }
    }
    return settings;
}

std::string withoutPassword(const QString& text)
{
    const qsizetype scheme = text.indexOf(QLatin1String("://"));
    const bool isPageWithoutUser =
        text.startsWith(QLatin1String("http")) && !text.contains(QLatin1Char('@'));
    return scheme < 0 || isPageWithoutUser ? text.toStdString()
                                           : text.left(scheme).toStdString() + "://...";
}

} // namespace service
