// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/browsers/address_source.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace platform::browsers {

/// The files that make a browser tell addresses, as they are built into this program. Any thread.

/// The name by which the extension knows the native host, and that of the host's executable.
[[nodiscard]] QString hostName();
[[nodiscard]] QString hostExecutableName();

/// The manifest that leads browsers of a family to the host's executable at the absolute path
/// `executable`; none for a path that a manifest cannot name.
[[nodiscard]] std::optional<QByteArray> hostManifest(Family family, const QString& executable);

struct SupportFile
{
    QString name;
    QByteArray content;
};

/// The files of the extension for a family.
[[nodiscard]] QList<SupportFile> extensionFiles(Family family);

} // namespace platform::browsers
