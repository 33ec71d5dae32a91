// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/settings_file.h"

#include "platform/linux/qt/ini_text.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

namespace platform::qt {

namespace {
constexpr QChar kByteOrderMark(0xFEFF);
}

bool isLegibleSettingsFile(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return !info.isSymLink(); // one that leads nowhere cannot be written through either
    // Anything but a regular file is not opened: a pipe would hold whoever does.
    QFile file(path);
    return info.isFile() && file.open(QIODevice::ReadOnly) && isIniText(file.readAll());
}

QVariant toSetting(const QString& text)
{
    if (text.contains(kByteOrderMark))
        return text.toUtf8();
    return text.isNull() ? QLatin1String("") : text; // a null text would be no value
}

std::optional<QString> fromSetting(const QVariant& setting)
{
    if (setting.typeId() == QMetaType::QString)
        return setting.toString();
    if (setting.typeId() != QMetaType::QByteArray)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    const QString text = decoder(setting.toByteArray());
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

} // namespace platform::qt
