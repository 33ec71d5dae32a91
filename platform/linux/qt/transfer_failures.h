// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"

#include <QList>
#include <QNetworkReply>
#include <QSslError>
#include <QString>
#include <QUrl>

#include <chrono>

namespace platform::qt {

/// The texts of what can go wrong between a request and its whole answer.

/// What Qt reports as `error` with its own words `systemText`; `tlsErrors` say more about a failed
/// handshake.
[[nodiscard]] TransferFailure failureOf(QNetworkReply::NetworkError error,
                                        const QString& systemText,
                                        const QList<QSslError>& tlsErrors,
                                        const QUrl& url);

/// Nothing came or went for `limit`.
[[nodiscard]] TransferFailure timedOut(const QUrl& url, std::chrono::milliseconds limit);

/// The connection ended in the middle of the answer.
[[nodiscard]] TransferFailure endedEarly(const QUrl& url);

/// The answer is longer than `limit` bytes.
[[nodiscard]] TransferFailure tooLong(const QUrl& url, qint64 limit);

/// `url` is not one to send a password to.
[[nodiscard]] TransferFailure notEncrypted(const QUrl& url);

/// `from` redirects to `target`, which is not one to send a password to.
[[nodiscard]] TransferFailure insecureRedirect(const QUrl& from, const QUrl& target);

[[nodiscard]] TransferFailure tooManyRedirects(const QUrl& url);

/// The program ends.
[[nodiscard]] TransferFailure cancelled(const QUrl& url);

} // namespace platform::qt
