// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QUrl>

namespace platform::qt {

/// True for an address by which this machine reaches itself: localhost, 127.0.0.0/8, ::1.
[[nodiscard]] bool isLoopback(const QUrl& url);

/// True where a password may be sent: https with a host, or http to this machine.
[[nodiscard]] bool maySendTo(const QUrl& url);

/// True when scheme, host and port are the same (RFC 6454, section 5).
[[nodiscard]] bool isSameOrigin(const QUrl& one, const QUrl& other);

/// Where an answer with `location` in its header sends on to, seen from `from`; an invalid address
/// when it names none.
[[nodiscard]] QUrl redirectTarget(const QUrl& from, const QByteArray& location);

} // namespace platform::qt
