// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVariant>

#include <optional>

namespace platform::qt {

/// Whether the INI file at `path` can be read, or is not there yet. May block on the disk.
[[nodiscard]] bool isLegibleSettingsFile(const QString& path);

/// `text` as something that QSettings keeps without loss. It drops U+FEFF wherever it takes up a
/// text anew, so one that has any is kept as its UTF-8 bytes.
[[nodiscard]] QVariant toSetting(const QString& text);

/// The text behind what QSettings has read; none for lists and whatever else is not one text.
[[nodiscard]] std::optional<QString> fromSetting(const QVariant& setting);

} // namespace platform::qt
