// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace views {

/// The host name in `serviceUrl`, without the port.
[[nodiscard]] QString serviceHost(const QString& serviceUrl);

/// The address of the web site for people: the service's host, over https, without port and path.
/// Of a service without TLS, which only a build for this machine has, it is the service's own
/// address with its port: there is nothing else.
[[nodiscard]] QString serviceWebSite(const QString& serviceUrl);

} // namespace views
