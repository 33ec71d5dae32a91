// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/connection.h"

#include "base/ascii.h"
#include "base/wipe.h"
#include "service/http/client_address.h"
#include "service/http/compression.h"
#include "service/http/framing.h"

#include <QScopeGuard>

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <random>
#include <system_error>
#include <utility>

namespace service {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

namespace {

/// A buffer that was full is followed by one twice as large, so that the largest ones are with
/// those who send much.
constexpr std::size_t kFirstBufferBytes = 4UL << 10U;
constexpr std::size_t kMostBufferBytes = 64UL << 10U;
// What comes of a byte of the buffer: itself, one of a piece of a body, and of a header two copies.
constexpr std::size_t kShareOfAByte = 4;
constexpr std::size_t kMostLingerBytes = 256UL << 20U;
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr std::string_view kEndOfHeader = "\r\n\r\n";
constexpr std::chrono::seconds kRetryWhenFull(10);
constexpr int kHttp10 = 10;
constexpr int kHttp11 = 11;

// What no page of ours needs is switched off for all answers; whoever shows one opened in a browser
// sees it as data.
constexpr std::pair<const char*, const char*> kSafeguards[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
     "connect-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'; "
     "require-trusted-types-for 'script'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
};

/// Not to be guessed from another, and different in each process.
std::string newRequestId()
{
    static const std::uint32_t process = std::random_device()();
    static std::atomic<std::uint64_t> count = 0;
    std::array<char, 32> text = {};
    std::snprintf(
        text.data(), text.size(), "%08x-%llx", process, static_cast<unsigned long long>(++count));
    return text.data();
}

/// What a scan of a header from its beginning finds.
enum class Header : std::uint8_t {
    Whole,
    Unfinished,
    Malformed,
};

/// Where a header ends that `bytes` begin with. Lines that do not end in CR LF, and those that go
/// on in the next one, are understood differently by different programs, so nobody gets them past.
Header scan(std::string_view bytes, std::size_t& from)
{
    for (; from < bytes.size(); ++from) {
        const char c = bytes[from];
        const char before = from > 0 ? bytes[from - 1] : '\0';
        if (c == '\0' || (before == '\r') != (c == '\n'))
            return Header::Malformed;
        const bool beginsLine = from == 0 || before == '\n';
        if (beginsLine && (c == ' ' || c == '\t'))
            return Header::Malformed;
        if (c == '\n' && bytes.substr(0, from + 1).ends_with(kEndOfHeader))
            return Header::Whole;
    }
    return Header::Unfinished;
}

/// For the log, of a request that was not understood.
void noteFirstLine(std::string_view bytes, Request& request)
{
    const std::string_view line = bytes.substr(0, bytes.find('\r'));
    const std::size_t first = line.find(' ');
    if (first == std::string_view::npos)
        return;
    request.method = line.substr(0, first);
    request.target = line.substr(first + 1, line.find(' ', first + 1) - first - 1);
}

BodyFields bodyFieldsOf(const Request& request)
{
    return {.contentLength = request.values("content-length"),
            .transferEncoding = request.values("transfer-encoding"),
            .contentEncoding = request.value("content-encoding"),
            .contentType = request.value("content-type")};
}

Answer tooLong(std::uint64_t limit)
{
    return refusal(413, "The body is longer than " + std::to_string(limit) + " bytes");
}

Answer notHttp()
{
    return refusal(400, "The request is not valid HTTP");
}

Answer badBody()
{
    return refusal(400, "The body is incomplete or not framed as it should be");
}

/// Where the client takes it and it is worth it.
void compress(Answer& answer, const Request& request)
{
    if (!acceptsGzip(request.value("accept-encoding")))
        return;
    if (auto shorter = compressed(answer.body)) {
        answer.body = *std::move(shorter);
        answer.fields.emplace_back("Content-Encoding", "gzip");
        answer.fields.emplace_back("Vary", "Accept-Encoding");
    }
}

/// To a request that failed by itself.
Answer failed(const std::exception& failure)
{
    const auto* const system = dynamic_cast<const std::system_error*>(&failure);
    const bool isDiskFull =
        system != nullptr && (system->code() == std::errc::no_space_on_device ||
                              system->code() == std::error_code(EDQUOT, std::generic_category()));
    if (!isDiskFull)
        return refusal(500, "The request could not be dealt with");
    Answer answer = refusal(507, "There is no room on the disk of the service");
    answer.retryAfter = kRetryWhenFull;
    return answer;
}

Answer putOff(std::string_view message)
{
    Answer answer = refusal(503, message);
    answer.retryAfter = kRetryWhenFull;
    return answer;
}

Answer noRoom()
{
    return putOff("Too many uploads at the moment");
}

Answer tooBusy()
{
    return putOff("Too many requests at the moment");
}

/// `work` for an executor of its own; whoever awaits it there keeps it until then.
asio::awaitable<void> asCoroutine(const std::function<void()>* work)
{
    (*work)();
    co_return;
}

/// Room for a piece of a body; what it held before is overwritten.
void makeLonger(std::string& piece, std::size_t size)
{
    if (piece.size() >= size)
        return;
    platform::wipe(piece);
    piece = std::string(size, '\0');
}

} // namespace

/// A request in hand, and its answer.
struct Connection::Exchange
{
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
    Request request;
    const Route* route = nullptr;
    http::request_parser<http::buffer_body> parser;
    std::uint64_t bodyBytes = 0;
    int version = kHttp11;
    bool keepsConnection = false;
    bool bodyUnread = false; ///< nobody knows where the next request begins
    bool gone = false;       ///< there is no one to answer
    Answer answer;
    int status = 0;
};

/// A piece of a body, which fills up.
struct Connection::Piece
{
    std::string bytes;
    std::size_t filled = 0;
};

Connection::Connection(Socket socket, std::string peer, const ConnectionEnvironment& environment)
    : m_socket(std::move(socket))
    , m_timer(m_socket.get_executor())
    , m_peer(std::move(peer))
    , m_client(peerKey(m_peer))
    , m_environment(environment)
    , m_share(environment.buffers)
{
}

asio::awaitable<void> Connection::serve()
{
    const std::shared_ptr<Connection> self = shared_from_this();
    const auto forget = qScopeGuard([this] { letGoOfBuffer(); });
    for (;;) {
        const bool wanted = co_await waitForRequest();
        if (!wanted)
            break;
        const bool next = co_await serveRequest();
        if (!next)
            break;
    }
    clearDeadline();
    close();
}

void Connection::endWhenIdle()
{
    asio::post(strand(), [self = shared_from_this()] {
        if (self->m_idle)
            self->cancel();
    });
}

void Connection::abort()
{
    asio::post(strand(), [self = shared_from_this()] {
        self->m_aborted = true;
        self->close();
    });
}

// Each of these coroutines is awaited by the one that owns what it is given.
// NOLINTBEGIN(cppcoreguidelines-avoid-reference-coroutine-parameters)

/// Waits for the first byte of a request. False when none comes: the client has gone or is silent,
/// or the service ends.
asio::awaitable<bool> Connection::waitForRequest()
{
    if (m_begin < m_end) {
        // The next request is there already; it gets the whole buffer.
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= std::exchange(m_begin, 0);
        co_return true;
    }
    letGoOfBuffer();
    setDeadline(Clock::now() + m_environment.settings.limits.idleTime);
    char first = 0;
    error_code error;
    std::size_t count = 0;
    if (!m_environment.stopping) {
        m_idle = true;
        count = co_await m_socket.async_read_some(asio::buffer(&first, 1),
                                                  asio::redirect_error(asio::use_awaitable, error));
        m_idle = false;
    }
    // A request that is already there does not get in the way of the end of the service.
    if (count == 0 && m_environment.stopping && !m_tooSlow && !m_aborted &&
        m_socket.available(error) > 0)
        count = m_socket.read_some(asio::buffer(&first, 1), error);
    if (count == 0)
        co_return false;
    m_buffer.resize(kFirstBufferBytes);
    m_buffer.front() = first;
    m_begin = 0;
    m_end = 1;
    co_return true;
}

/// Reads a request, answers it and logs it. False when no other can follow.
asio::awaitable<bool> Connection::serveRequest()
{
    Exchange exchange;
    exchange.request.id = newRequestId();
    exchange.request.peer = m_peer;
    try {
        exchange.answer = co_await deal(exchange);
    } catch (const std::exception& failure) {
        writeTrouble(kindOf(failure), exchange.request.id);
        exchange.answer = failed(failure);
    }
    letGoOf(std::move(exchange.request.body));
    co_await send(exchange);
    finish(exchange);
    if (exchange.gone || m_aborted)
        co_return false;
    if (exchange.bodyUnread)
        co_await linger();
    co_return exchange.keepsConnection && !exchange.bodyUnread;
}

/// The answer to a request.
asio::awaitable<Answer> Connection::deal(Exchange& exchange)
{
    const HttpLimits& limits = m_environment.settings.limits;
    setDeadline(exchange.request.began + limits.headerTime);
    exchange.bodyUnread = true;
    const Result<std::size_t, Answer> size = co_await receiveHeader(exchange.request);
    if (!size)
        co_return size.error();
    if (auto fault = parseHeader(exchange, size.value()))
        co_return *std::move(fault);
    exchange.bodyUnread = announcesBody(bodyFieldsOf(exchange.request));
    if (auto refused = refuse(exchange))
        co_return *std::move(refused);
    const Route& route = *exchange.route;
    if (route.caller == Caller::Bearer) {
        auto stranger = co_await authenticate(exchange.request);
        if (stranger)
            co_return *std::move(stranger);
    }
    // Also an empty one: its handler relies on a body.
    if (route.bodyLimit > 0) {
        auto fault = co_await receiveBody(exchange);
        if (fault)
            co_return *std::move(fault);
    }
    clearDeadline();
    if (route.work == Work::Instant)
        co_return route.handler(exchange.request);
    Answer answer;
    const std::function<void()> handle = [&exchange, &route, &answer] {
        answer = route.handler(exchange.request);
        exchange.request.body.reset();
        compress(answer, exchange.request);
    };
    const bool dealtWith = co_await perform(threadsFor(route.work), handle);
    co_return dealtWith ? std::move(answer) : tooBusy();
}

/// Those that such work is done on.
WorkerPool& Connection::threadsFor(Work work) const
{
    switch (work) {
    case Work::Check:
        return m_environment.gate;
    case Work::Long:
        return m_environment.workersApart;
    case Work::Instant: // needs none
    case Work::Blocking:
        break;
    }
    return m_environment.workers;
}

/// Finds out whose request it is; the answer when that is not known.
asio::awaitable<std::optional<Answer>> Connection::authenticate(Request& request)
{
    clearDeadline();
    std::optional<Answer> stranger;
    const std::function<void()> ask = [this, &request, &stranger] {
        const auto user = m_environment.settings.authenticate(request);
        if (user)
            request.user = user.value();
        else
            stranger = user.error();
    };
    const bool asked = co_await perform(m_environment.gate, ask);
    co_return asked ? stranger : tooBusy();
}

/// Has `work` done by `pool`, and waits for it. False when that has too much to do already, or the
/// connection is broken off.
asio::awaitable<bool> Connection::perform(WorkerPool& pool, const std::function<void()>& work) const
{
    const std::optional<WorkerPool::Place> place = pool.place();
    if (!place || m_aborted)
        co_return false;
    co_await asio::co_spawn(pool.threads(), asCoroutine(&work), asio::use_awaitable);
    co_return true;
}

/// Takes in the header of a request, and says how long it is, or the answer instead.
asio::awaitable<Result<std::size_t, Answer>> Connection::receiveHeader(Request& request)
{
    const HttpLimits& limits = m_environment.settings.limits;
    std::size_t from = 0;
    for (;;) {
        const std::string_view bytes = received().substr(0, limits.headerBytes);
        const Header found = scan(bytes, from);
        noteFirstLine(bytes, request);
        if (found == Header::Whole) {
            // With the first line and the empty one.
            const auto lines = std::ranges::count(bytes.substr(0, from + 1), '\n');
            if (static_cast<std::size_t>(lines) > limits.headerFields + 2)
                co_return refusal(431, "The header of the request has too many fields");
            co_return from + 1;
        }
        if (found == Header::Malformed)
            co_return notHttp();
        if (bytes.size() == limits.headerBytes)
            co_return bytes.find('\r') == std::string_view::npos
                ? refusal(414, "The address is too long")
                : refusal(431, "The header of the request is too long");
        const bool more = co_await receive();
        if (!more)
            co_return withoutMore("The request came too slowly", notHttp());
    }
}

/// Takes the first `size` bytes of what was received for a header; the answer when it is none.
std::optional<Answer> Connection::parseHeader(Exchange& exchange, std::size_t size)
{
    Request& request = exchange.request;
    auto& parser = exchange.parser;
    parser.header_limit(static_cast<std::uint32_t>(kMostBufferBytes)); // it is shorter already
    parser.body_limit(boost::none);                                    // until the route is known
    error_code error;
    const std::size_t used = parser.put(asio::buffer(received().substr(0, size)), error);
    if (error || used != size || !parser.is_header_done() ||
        parser.get().method() == http::verb::unknown)
        return notHttp();
    m_begin += size;
    const auto& header = parser.get();
    request.method = header.method_string();
    request.target = header.target();
    for (const auto& field : header)
        request.fields.emplace_back(platform::asciiLower(field.name_string()), field.value());
    exchange.keepsConnection = parser.keep_alive();
    request.peer = clientOf(request);
    const auto version = static_cast<int>(header.version());
    if ((version != kHttp10 && version != kHttp11) || request.values("host").size() > 1 ||
        (version == kHttp10 && request.has("transfer-encoding")))
        return notHttp();
    if (request.target.size() > m_environment.settings.limits.targetBytes)
        return refusal(414, "The address is too long");
    exchange.version = version;
    return std::nullopt;
}

/// How a request is answered that nobody deals with; nothing when its route may.
std::optional<Answer> Connection::refuse(Exchange& exchange) const
{
    Request& request = exchange.request;
    RouteTable::Match match = m_environment.routes.find(request.method, request.path());
    if (match.allowed.empty())
        return refusal(404, "There is nothing here");
    if (match.route == nullptr) {
        Answer answer = refusal(405, "Only " + match.allowed + " is possible here");
        answer.fields.emplace_back("Allow", match.allowed);
        return answer;
    }
    exchange.route = match.route;
    request.parameters = std::move(match.parameters);
    if (auto fault = refuseOtherPages(request, *match.route, m_environment.own))
        return refusal(*fault);
    if (match.route->bodyLimit == 0)
        return exchange.bodyUnread ? std::optional(tooLong(0)) : std::nullopt;
    if (const auto fault = faultOf(bodyFieldsOf(request), match.route->bodyLimit))
        return refusal(*fault);
    if (request.has("expect") && platform::asciiLower(request.value("expect")) != "100-continue")
        return refusal(417, "Only 100-continue can be expected");
    return std::nullopt;
}

std::string Connection::clientOf(const Request& request) const
{
    const std::vector<std::string> forwarded = request.values("x-forwarded-for");
    if (!m_environment.settings.trustProxy || forwarded.empty())
        return m_peer;
    return forwardedClient(forwarded.back()).value_or(m_peer);
}

/// Takes in the body of a request; the answer when it cannot be had.
asio::awaitable<std::optional<Answer>> Connection::receiveBody(Exchange& exchange)
{
    const HttpLimits& limits = m_environment.settings.limits;
    const std::uint64_t limit = exchange.route->bodyLimit;
    auto& parser = exchange.parser;
    const std::uint64_t announced =
        parser.content_length().value_or(std::min<std::uint64_t>(limit, limits.bodyInMemory));
    setDeadline(Clock::now() + limits.bodyTime +
                std::chrono::seconds(announced / limits.bodyBytesPerSecond));
    if (exchange.request.has("expect") && !parser.is_done() && m_begin == m_end &&
        exchange.version == kHttp11)
        co_await sayContinue();
    parser.body_limit(limit);
    exchange.request.body = std::make_unique<RequestBody>(m_environment.room, limit);
    Piece piece;
    const auto forget = qScopeGuard([&piece] { platform::wipe(piece.bytes); });
    bool wantsMore = m_begin == m_end;
    while (!parser.is_done()) {
        if (wantsMore) {
            const bool more = co_await receive();
            if (!more)
                co_return withoutMore("The body came too slowly", badBody());
        }
        if (piece.filled == 0)
            makeLonger(piece.bytes, std::min<std::uint64_t>(announced, m_buffer.size()));
        const error_code error = parseBody(exchange, piece);
        const bool isFull = error == http::error::need_buffer || piece.filled == piece.bytes.size();
        wantsMore = m_begin == m_end || error == http::error::need_more;
        if (error && error != http::error::need_buffer && error != http::error::need_more)
            co_return error == http::error::body_limit ? tooLong(limit) : badBody();
        if (piece.filled == 0 || (!isFull && !parser.is_done()))
            continue;
        const bool kept = co_await keep(*exchange.request.body, piece);
        if (!kept)
            co_return noRoom();
        wantsMore = wantsMore && !isFull;
    }
    exchange.bodyUnread = false;
    co_return std::nullopt;
}

/// Takes what was received for a part of a body, and fills `piece` with it.
error_code Connection::parseBody(Exchange& exchange, Piece& piece)
{
    auto& out = exchange.parser.get().body();
    out.data = piece.bytes.data() + piece.filled;
    out.size = piece.bytes.size() - piece.filled;
    error_code error;
    const std::size_t used = exchange.parser.put(asio::buffer(received()), error);
    m_begin += used;
    exchange.bodyBytes += used;
    piece.filled = piece.bytes.size() - out.size;
    return error;
}

/// Appends `piece`, which is empty then, to a body; false when there is no room.
asio::awaitable<bool> Connection::keep(RequestBody& body, Piece& piece) const
{
    const std::string_view filled(piece.bytes.data(), std::exchange(piece.filled, 0));
    bool kept = body.appendInMemory(filled);
    if (!kept && body.mayUseFile() && !m_aborted) {
        const std::function<void()> append = [&body, &kept, filled] {
            kept = body.appendInFile(filled);
        };
        co_await asio::co_spawn(m_environment.disk, asCoroutine(&append), asio::use_awaitable);
    }
    co_return kept;
}

asio::awaitable<void> Connection::sayContinue()
{
    error_code ignored; // who does not take it does not send either
    m_writing = true;
    co_await asio::async_write(
        m_socket, asio::buffer(kContinue), asio::redirect_error(asio::use_awaitable, ignored));
    m_writing = false;
}

asio::awaitable<void> Connection::send(Exchange& exchange)
{
    const HttpLimits& limits = m_environment.settings.limits;
    Answer& answer = exchange.answer;
    exchange.keepsConnection =
        exchange.keepsConnection && !exchange.bodyUnread && !m_environment.stopping;
    http::response<http::string_body> response;
    response.version(static_cast<unsigned>(exchange.version));
    response.result(static_cast<unsigned>(answer.status));
    response.set(http::field::content_type, answer.contentType);
    response.set(http::field::cache_control, answer.cacheControl);
    response.set("X-Request-Id", exchange.request.id);
    for (const auto& [name, value] : kSafeguards)
        response.set(name, value);
    if (answer.status == 401)
        response.set(http::field::www_authenticate, "Bearer");
    if (answer.retryAfter)
        response.set(http::field::retry_after, std::to_string(answer.retryAfter->count()));
    for (const auto& [name, value] : answer.fields)
        response.set(name, value);
    response.keep_alive(exchange.keepsConnection);
    response.content_length(answer.body.size());
    if (exchange.request.method != "HEAD")
        response.body() = std::move(answer.body);
    setDeadline(Clock::now() + limits.writeTime +
                std::chrono::seconds(response.body().size() / limits.bodyBytesPerSecond));
    error_code error;
    m_writing = true;
    co_await http::async_write(
        m_socket, response, asio::redirect_error(asio::use_awaitable, error));
    m_writing = false;
    exchange.gone = static_cast<bool>(error);
    exchange.status = error ? 0 : answer.status;
}

/// Ends the connection in a way that lets the client read the answer although it is still sending:
/// takes what comes for a while.
asio::awaitable<void> Connection::linger()
{
    const HttpLimits& limits = m_environment.settings.limits;
    if (!endSending(Socket::shutdown_send))
        co_return;
    const auto began = Clock::now();
    for (std::size_t taken = 0; taken < kMostLingerBytes;) {
        taken += m_end - std::exchange(m_begin, m_end);
        // A client that reads the answer when it has sent everything may have a slow line.
        const std::chrono::milliseconds earned(1000 * taken / limits.lingerBytesPerSecond);
        const auto end = began + std::min(limits.lingerTime + earned, limits.longestLinger);
        // Who is silent has read the answer, or waits for us to close.
        setDeadline(std::min(end, Clock::now() + limits.lingerSilence));
        const bool more = co_await receive();
        if (!more || Clock::now() >= end)
            co_return;
    }
}

/// Takes in what comes next; false at the end of it, or when there is no time or room left.
asio::awaitable<bool> Connection::receive()
{
    const bool wasFull = m_end == m_buffer.size();
    if (m_begin == m_end)
        m_begin = m_end = 0;
    if (wasFull)
        makeRoom();
    if (m_end == m_buffer.size() || m_tooSlow || m_aborted)
        co_return false;
    error_code error;
    const std::size_t count = co_await m_socket.async_read_some(
        asio::buffer(m_buffer.data() + m_end, m_buffer.size() - m_end),
        asio::redirect_error(asio::use_awaitable, error));
    m_end += count;
    co_return count > 0;
}

// NOLINTEND(cppcoreguidelines-avoid-reference-coroutine-parameters)

void Connection::finish(const Exchange& exchange) const
{
    const auto duration = Clock::now() - exchange.request.began;
    const std::optional<std::int64_t> user =
        exchange.answer.user ? exchange.answer.user : exchange.request.user;
    writeLog(logLine({.time = exchange.time,
                      .peer = exchange.request.peer,
                      .method = exchange.request.method,
                      .target = exchange.request.target,
                      .status = exchange.status,
                      .bytesIn = exchange.bodyBytes,
                      .duration = std::chrono::duration_cast<std::chrono::milliseconds>(duration),
                      .user = user,
                      .id = exchange.request.id}));
    if (m_environment.settings.onServed)
        m_environment.settings.onServed(
            {.pattern = exchange.route != nullptr ? exchange.route->pattern : std::string(),
             .method = exchange.route != nullptr ? exchange.request.method : std::string(),
             .status = exchange.status,
             .seconds = duration,
             .id = exchange.request.id});
}

/// What is read or written from here on fails at `deadline`, however it goes on until then.
void Connection::setDeadline(Clock::time_point deadline)
{
    m_tooSlow = false;
    const unsigned number = ++m_deadlines;
    m_timer.expires_at(deadline);
    m_timer.async_wait([weak = weak_from_this(), number](const error_code& error) {
        const auto self = weak.lock();
        if (error || self == nullptr || self->m_deadlines != number)
            return;
        self->m_tooSlow = true;
        // Between two pieces of an answer there is nothing to cancel, and the next would wait on.
        if (self->m_writing)
            static_cast<void>(self->endSending(Socket::shutdown_both)); // who has gone needs none
        self->cancel();
    });
}

void Connection::clearDeadline()
{
    ++m_deadlines;
    m_tooSlow = false;
    m_timer.cancel();
}

/// What cannot be closed has been closed before.
void Connection::close()
{
    error_code ignored;
    static_cast<void>(m_socket.close(ignored));
}

/// Nothing is waited for on a socket of which nothing can be cancelled.
void Connection::cancel()
{
    error_code ignored;
    static_cast<void>(m_socket.cancel(ignored));
}

/// False when the client has gone.
bool Connection::endSending(Socket::shutdown_type what)
{
    error_code error;
    static_cast<void>(m_socket.shutdown(what, error)); // it is the same one
    return !error;
}

std::string_view Connection::received() const
{
    return {m_buffer.data() + m_begin, m_end - m_begin};
}

/// Why nothing more of a request is taken in.
Answer Connection::withoutMore(std::string_view whenSlow, const Answer& otherwise) const
{
    if (m_tooSlow)
        return refusal(408, whenSlow);
    const bool isFull = m_end - m_begin == m_buffer.size();
    return m_crowded && isFull ? tooBusy() : otherwise;
}

/// What is in the buffer moves to its beginning, and a small buffer becomes a larger one where
/// there is room for that.
void Connection::makeRoom()
{
    const std::size_t size = m_buffer.size();
    const bool isLargest = size >= kMostBufferBytes;
    m_crowded = !isLargest && !m_share.grow(kShareOfAByte * size);
    std::vector<char> larger(isLargest || m_crowded ? 0 : 2 * size);
    char* const to = larger.empty() ? m_buffer.data() : larger.data();
    std::memmove(to, m_buffer.data() + m_begin, m_end - m_begin);
    m_end -= std::exchange(m_begin, 0);
    if (!larger.empty()) {
        ::explicit_bzero(m_buffer.data(), size);
        m_buffer = std::move(larger);
    }
}

/// Freeing a file may take as long as writing it.
void Connection::letGoOf(std::unique_ptr<RequestBody> body) const
{
    if (body != nullptr && body->isInFile())
        asio::post(m_environment.disk, [body = std::move(body)] {});
}

/// It may have held a password.
void Connection::letGoOfBuffer()
{
    if (!m_buffer.empty())
        ::explicit_bzero(m_buffer.data(), m_buffer.size());
    m_buffer = std::vector<char>(); // with its memory
    m_share.giveBack();
}

} // namespace service
