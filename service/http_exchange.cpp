// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http_exchange.h"

#include "base/ascii.h"
#include "service/json_request.h"

#include <utility>

namespace service {

namespace {

constexpr const char* kTokenPath = "/api/token";
constexpr const char* kActivityPath = "/api/activity-log";
constexpr const char* kJson = "application/json";
constexpr std::size_t kMostRequests = 10'000; // of a connection; told to the client

std::vector<std::string> valuesOf(const httplib::Request& request, const char* name)
{
    std::vector<std::string> values;
    const auto [from, to] = request.headers.equal_range(name);
    for (auto field = from; field != to; ++field)
        values.push_back(field->second);
    return values;
}

BodyFields bodyFieldsOf(const httplib::Request& request)
{
    return {.contentLength = valuesOf(request, "Content-Length"),
            .transferEncoding = valuesOf(request, "Transfer-Encoding"),
            .contentEncoding = request.get_header_value("Content-Encoding"),
            .contentType = request.get_header_value("Content-Type")};
}

} // namespace

HttpExchange::HttpExchange(HttpConnection& connection, const Environment& environment)
    : m_connection(connection)
    , m_environment(environment)
{
    set_keep_alive_max_count(kMostRequests);
    set_keep_alive_timeout(
        std::chrono::floor<std::chrono::seconds>(environment.limits.idleTime).count());
    set_expect_100_continue_handler([this](const httplib::Request&, httplib::Response& response) {
        if (!m_state.refused)
            return 100;
        send(*m_state.refused, response);
        return response.status;
    });
    set_pre_routing_handler([this](const httplib::Request&, httplib::Response& response) {
        if (!m_state.refused)
            return HandlerResponse::Unhandled;
        send(*m_state.refused, response);
        return HandlerResponse::Handled;
    });
    const auto handle = [this](const httplib::Request& request,
                               httplib::Response& response,
                               const httplib::ContentReader& reader) {
        send(answer(request, reader), response);
    };
    Post(kTokenPath, handle);
    Post(kActivityPath, handle);
    set_error_handler(Handler(
        [this](const httplib::Request&, httplib::Response& response) { describe(response); }));
    set_logger([this](const httplib::Request&, const httplib::Response& response) {
        m_state.log.status = response.status;
    });
}

bool HttpExchange::serve(bool last)
{
    m_state = State();
    m_state.log.time = std::chrono::system_clock::now();
    m_state.log.peer = m_connection.peer();
    const auto began = std::chrono::steady_clock::now();
    bool closed = false;
    const auto setUp = [this](httplib::Request& request) {
        examine(request);
    };
    // Later versions of the library take the addresses of both ends before the rest; ours come from
    // the connection.
    const auto process = [&](auto& self) {
        if constexpr (requires { self.process_request(m_connection, last, closed, setUp); })
            return self.process_request(m_connection, last, closed, setUp);
        else
            return self.process_request(m_connection, {}, 0, {}, 0, last, closed, setUp);
    };
    const bool answered = process(*this);
    m_state.log.bytesIn = m_connection.bodyBytes();
    m_state.log.duration = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - began);
    writeLog(logLine(m_state.log));
    // Without a header that was understood nobody knows where the next request begins.
    const bool lost = !m_state.headerRead || m_state.bodyUnread;
    if (answered && lost && !m_connection.wasTooSlow())
        m_connection.linger();
    return answered && !lost && !closed && !last;
}

/// Called by the library when the header has been read.
void HttpExchange::examine(httplib::Request& request)
{
    m_connection.beginBody();
    request.ranges.clear(); // of an answer nobody wants a part
    const BodyFields fields = bodyFieldsOf(request);
    m_state.headerRead = true;
    m_state.bodyUnread = announcesBody(fields);
    m_state.log.peer = peerOf(request);
    m_state.log.method = request.method;
    m_state.log.target = request.target;
    m_state.refused = refuse(request, fields);
}

std::optional<Answer> HttpExchange::refuse(const httplib::Request& request,
                                           const BodyFields& fields)
{
    const bool upload = request.path == kActivityPath;
    if (!upload && request.path != kTokenPath)
        return refusal(404, "There is nothing here");
    if (request.method != "POST")
        return refusal(405, "Only POST is possible here");
    const HttpLimits& limits = m_environment.limits;
    if (const auto fault = faultOf(fields, upload ? limits.uploadBytes : limits.signInBytes))
        return refusal(*fault);
    if (!upload)
        return std::nullopt;
    const auto user = m_environment.api.authenticate(request.get_header_value("Authorization"));
    if (!user)
        return user.error();
    m_state.user = user.value();
    return std::nullopt;
}

std::string HttpExchange::peerOf(const httplib::Request& request) const
{
    const std::vector<std::string> forwarded = valuesOf(request, "X-Forwarded-For");
    if (!m_environment.trustProxy || forwarded.empty())
        return m_connection.peer();
    return forwardedClient(forwarded.back()).value_or(m_connection.peer());
}

Answer HttpExchange::answer(const httplib::Request& request, const httplib::ContentReader& reader)
{
    const HttpLimits& limits = m_environment.limits;
    ByteBudget::Share share(m_environment.bodies);
    auto body = receive(reader, m_state.user ? limits.uploadBytes : limits.signInBytes, share);
    if (!body)
        return body.error();
    if (m_state.user)
        return m_environment.api.store(*m_state.user, std::move(body).value());
    return m_environment.api.signIn(std::move(body).value(), peerOf(request));
}

Result<std::string, Answer> HttpExchange::receive(const httplib::ContentReader& reader,
                                                  std::size_t limit,
                                                  ByteBudget::Share& share)
{
    std::string body;
    if (!m_state.user)
        body.reserve(limit + simdjson::SIMDJSON_PADDING); // a password leaves no copies by growing
    bool tooLong = false;
    bool noRoom = false;
    const bool whole = reader([&](const char* data, std::size_t size) {
        tooLong = body.size() + size > limit;
        noRoom = !tooLong && !share.grow(size);
        if (tooLong || noRoom)
            return false;
        body.append(data, size);
        return true;
    });
    if (whole) {
        m_state.bodyUnread = false;
        return body;
    }
    if (tooLong)
        return refusal(413, "The body is longer than " + std::to_string(limit) + " bytes");
    if (noRoom) {
        Answer answer = refusal(503, "Too many uploads at the moment");
        answer.retryAfter = std::chrono::seconds(10);
        return answer;
    }
    if (m_connection.wasTooSlow())
        return refusal(408, "The body came too slowly");
    return refusal(400, "The body is incomplete or not framed as it should be");
}

void HttpExchange::send(const Answer& answer, httplib::Response& response)
{
    response.status = answer.status;
    response.set_content(answer.body, kJson);
    response.set_header("Cache-Control", "no-store");
    if (answer.status == 401)
        response.set_header("WWW-Authenticate", "Bearer");
    if (answer.status == 405)
        response.set_header("Allow", "POST");
    if (answer.retryAfter)
        response.set_header("Retry-After", std::to_string(answer.retryAfter->count()));
    if (m_state.bodyUnread)
        response.set_header("Connection", "close");
    m_state.log.user = answer.user ? answer.user : m_state.user;
}

/// Gives the library's own refusals a body like ours, and the cause that only we know.
void HttpExchange::describe(httplib::Response& response) const
{
    if (!response.body.empty())
        return;
    const char* text = "The request is not valid HTTP";
    if (m_connection.sentTooMuchHeader()) {
        response.status = 431;
        text = "The header of the request is too long";
    } else if (m_connection.wasTooSlow()) {
        response.status = 408;
        text = "The request came too slowly";
    } else if (response.status == 414) {
        text = "The address is too long";
    } else if (response.status >= 500) {
        text = "The request could not be dealt with";
    }
    response.set_content(refusal(response.status, text).body, kJson);
}

} // namespace service
