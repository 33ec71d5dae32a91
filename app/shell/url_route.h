// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

namespace shell {

/// True for an address of our scheme, "velomira:" (RFC 3986: in any case).
[[nodiscard]] bool isOwnUrl(const QString& url);

/// The identifier of the window that answers `url`, an address of our scheme: of the first scene
/// one of whose texts it contains. None when no scene does.
[[nodiscard]] std::optional<QString> windowFor(const QString& url);

} // namespace shell
