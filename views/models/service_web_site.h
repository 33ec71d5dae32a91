// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace views {

/// The host name in `serviceUrl`, without the port.
[[nodiscard]] QString serviceHost(const QString& serviceUrl);

/// The address of the web site for people: the service's host, over https, without port and path.
[[nodiscard]] QString serviceWebSite(const QString& serviceUrl);

} // namespace views
