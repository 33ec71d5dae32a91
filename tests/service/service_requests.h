// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/raw_http_client.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <optional>

/// Requests to the web service for tests.
namespace requests {

inline const QByteArray kEmail = "someone@example.org";
inline const QByteArray kPassword = "correct horse";

inline QByteArray signInBody(const QByteArray& email, const QByteArray& password)
{
    return QJsonDocument(QJsonObject{{QStringLiteral("email"), QString::fromUtf8(email)},
                                     {QStringLiteral("password"), QString::fromUtf8(password)},
                                     {QStringLiteral("device_name"), QStringLiteral("a name")},
                                     {QStringLiteral("device_id"), QStringLiteral("a device")}})
        .toJson(QJsonDocument::Compact);
}

inline std::optional<support::RawAnswer> signIn(int port,
                                                const QByteArray& email = kEmail,
                                                const QByteArray& password = kPassword,
                                                const QList<QByteArray>& header = {})
{
    return support::RawHttpClient(port).post("/api/token", signInBody(email, password), header);
}

inline QJsonObject json(const support::RawAnswer& answer)
{
    return QJsonDocument::fromJson(answer.body).object();
}

/// The token of a new sign-in; empty when that fails.
inline QByteArray newToken(int port)
{
    const auto answer = signIn(port);
    return answer ? json(*answer)[QStringLiteral("token")].toString().toUtf8() : QByteArray();
}

inline QByteArray bearer(const QByteArray& token)
{
    return "Authorization: Bearer " + token;
}

/// A row of an upload; `more` stands before its end (",\"url\":\"x\"").
inline QByteArray row(const QByteArray& appName, qint64 duration, const QByteArray& more = {})
{
    return "{\"app_name\":\"" + appName +
           "\",\"duration_seconds\":" + QByteArray::number(duration) +
           ",\"start_time\":\"2026-11-21T09:30:00Z\"" + more + '}';
}

inline QByteArray uploadBody(const QByteArrayList& rows, const QByteArray& device = "a device")
{
    return "{\"device_id\":\"" + device +
           "\",\"sync_timestamp\":\"2026-11-21T09:30:00Z\",\"interval_minutes\":5,"
           "\"activities\":[" +
           rows.join(',') + "]}";
}

/// Rows "NAME FIRST" to "NAME LAST", each a second long.
inline QByteArrayList rows(const QByteArray& name, int first, int last)
{
    QByteArrayList made;
    for (int i = first; i <= last; ++i)
        made.append(row(name + ' ' + QByteArray::number(i), 1, ",\"window_title\":\"a title\""));
    return made;
}

inline std::optional<support::RawAnswer>
upload(int port, const QByteArray& token, const QByteArray& body)
{
    return support::RawHttpClient(port).post("/api/activity-log", body, {bearer(token)});
}

inline int statusOf(const std::optional<support::RawAnswer>& answer)
{
    return answer ? answer->status : 0;
}

} // namespace requests
