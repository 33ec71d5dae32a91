// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <optional>

/// The rules by which an address belongs to a window. Any thread.
namespace platform::atspi {

/// Whether a document of the title `page` may be what is on show in a window of the Chromium family
/// of the title `window`: it begins with the page's title, of which only the beginning counts, and
/// no bracket follows: the names of private windows end with a remark in brackets in every
/// language.
[[nodiscard]] bool mayShow(const QString& window, const QString& page);

/// The address among the attributes of a document; none when there is none or it is longer than any
/// that is handed on.
[[nodiscard]] std::optional<QString> addressAmong(const QMap<QString, QString>& attributes);

/// Whether this command line, as the kernel tells it, is that of a GNOME Web that keeps a history.
/// Its private windows are a process of their own, which nothing but an option tells from others;
/// an option that is not known to be harmless counts as one of these.
[[nodiscard]] bool isGnomeWebWithHistory(const QByteArray& commandLine);

} // namespace platform::atspi
