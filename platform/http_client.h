// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFuture>
#include <QList>
#include <QString>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

namespace platform {

struct HttpHeader
{
    QByteArray name;
    QByteArray value;

    bool operator==(const HttpHeader&) const = default;
};

enum class HttpMethod : std::uint8_t {
    Get,
    Post,
};

/// What becomes of an answer whose body is longer than wanted.
enum class LongAnswer : std::uint8_t {
    Fails, ///< the transfer fails
    IsCut, ///< the rest is not waited for
};

/// A body that is made while it is sent, so that a long one is never in memory, and none before it
/// is known that somebody listens.
struct StreamedBody
{
    /// Appends the next part of the body, some kilobytes at most; false, with nothing appended, at
    /// its end.
    using Parts = std::function<bool(std::string& out)>;

    /// Of all parts together, in bytes.
    qint64 size = 0;
    /// Begins the body anew, for each time that it is sent. Called, like what it gives out, on the
    /// main thread, also while another one is not at its end.
    std::function<Parts()> begin;
};

struct HttpRequest
{
    HttpMethod method = HttpMethod::Post;
    /// Scheme, host, path; https, or http to this machine.
    QString url;
    QList<HttpHeader> headers;
    QByteArray body;
    /// In place of `body`.
    std::optional<StreamedBody> streamedBody = std::nullopt;
    /// Whether `body` holds a secret. Then the client overwrites it once there is an answer, for
    /// all who share it, as it always does with the value of the header Authorization.
    bool hasSecretBody = false;
    /// How long nothing may arrive or leave before the request is given up.
    std::chrono::milliseconds idleLimit{60'000};
    /// The longest answer body taken, in bytes.
    qint64 answerLimit = 1'000'000;
    LongAnswer longAnswer = LongAnswer::Fails;
};

/// A complete answer.
struct HttpResponse
{
    int status = 0;
    QByteArray body;

    bool operator==(const HttpResponse&) const = default;
};

/// Something answered, but not in HTTP.
struct NotHttp
{
    bool operator==(const NotHttp&) const = default;
};

/// No complete answer came.
struct TransferFailure
{
    /// For the user: one sentence without a full stop that names the host ("Could not connect to
    /// example.org: connection refused").
    QString text;
    /// For a log: the same with the kind of failure and the address; no header and no body.
    QString description;

    bool operator==(const TransferFailure&) const = default;
};

using HttpOutcome = std::variant<HttpResponse, NotHttp, TransferFailure>;

/// Sends requests to a web service and waits for whole answers.
/// Main thread only; send() returns at once and its future is always finished with one outcome.
class HttpClient
{
public:
    HttpClient() = default;
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;
    virtual ~HttpClient() = default;

    /// Follows 307 and 308 (RFC 9110, sections 15.4.8 and 15.4.9) with the same method and body, at
    /// most 16 times, never from https to http; the header Authorization goes along only while
    /// scheme, host and port stay the same. Every other status is the answer.
    [[nodiscard]] virtual QFuture<HttpOutcome> send(const HttpRequest& request) = 0;
};

} // namespace platform
