// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Any bytes as a connection: answers come one after the other, each for one request, none is cut,
// and no handler gets a body that was not sent.
#include "service/http/server.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <source_location>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

void require(bool holds, std::source_location where = std::source_location::current())
{
    if (holds)
        return;
    std::printf("line %u does not hold\n", static_cast<unsigned>(where.line()));
    std::fflush(stdout);
    std::abort();
}

std::atomic<std::size_t> g_bodies = 0; // bytes that handlers got of the input in hand

std::vector<service::Route> routes()
{
    const auto count = [](service::Request& request) {
        std::uint64_t read = 0;
        for (auto piece = request.body->piece(0); !piece.empty(); piece = request.body->piece(read))
            read += piece.size();
        require(read == request.body->size());
        g_bodies += read;
        return service::Answer{.status = 201, .body = "{}"};
    };
    const auto answer = [](service::Request& request) {
        return service::Answer{.status = 200,
                               .body = std::string(2000, 'x') + request.parameters[0]};
    };
    return {{.method = "POST", .pattern = "/a", .bodyLimit = 4000, .handler = count},
            {.method = "POST",
             .pattern = "/b",
             .bodyLimit = 100'000,
             .caller = service::Caller::Bearer,
             .handler = count},
            {.method = "GET", .pattern = "/{c}", .handler = answer}};
}

service::HttpServer& server()
{
    static service::HttpServer running(routes(),
                                       {.limits = {.bodyInMemory = 100,
                                                   .lingerTime = std::chrono::milliseconds(20),
                                                   .lingerSilence = std::chrono::milliseconds(20),
                                                   .workers = 1},
                                        .authenticate = [](const service::Request& request)
                                            -> service::Result<std::int64_t, service::Answer> {
                                            if (request.value("authorization") == "Bearer t")
                                                return std::int64_t{1};
                                            return service::refusal(401, "no");
                                        }});
    return running;
}

std::string answersTo(std::string_view bytes)
{
    int ends[2] = {};
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    // At most 8 KiB: they fit into the socket.
    require(::send(ends[0], bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(bytes.size()));
    ::shutdown(ends[0], SHUT_WR);
    server().serveSocket(ends[1]);
    std::string answers;
    char piece[65536];
    for (;;) {
        const ssize_t count = ::recv(ends[0], piece, sizeof piece, 0);
        if (count < 0 && errno == EINTR) // by the fuzzer's own clock
            continue;
        if (count <= 0)
            break;
        answers.append(piece, static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    return answers;
}

/// Takes an answer off the front of `answers`, and says its status.
int takeAnswer(std::string_view& answers)
{
    require(answers.starts_with("HTTP/1.1 ") || answers.starts_with("HTTP/1.0 "));
    const int status = std::atoi(answers.data() + 9); // NOLINT(cert-err34-c): ours
    const std::size_t end = answers.find("\r\n\r\n");
    require(end != std::string_view::npos);
    constexpr std::string_view kLength = "Content-Length: ";
    const std::size_t at = answers.substr(0, end).find(kLength);
    std::size_t length = 0;
    if (at != std::string_view::npos)
        length = std::strtoul(answers.data() + at + kLength.size(), nullptr, 10);
    answers.remove_prefix(end + 4);
    require(answers.size() >= length);
    answers.remove_prefix(length);
    return status;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    g_bodies = 0;
    const std::string all = answersTo(input);
    require(g_bodies <= size);
    // Where the body of an answer ends depends on the request then.
    if (input.find("HEAD") != std::string_view::npos)
        return 0;
    std::string_view answers(all);
    std::size_t finals = 0;
    bool isOver = false;
    while (!answers.empty()) {
        // After a request that was not understood nothing is taken for one.
        require(!isOver);
        const int status = takeAnswer(answers);
        isOver = status == 400 || status == 408 || status == 414 || status == 431;
        finals += status >= 200 ? 1 : 0;
    }
    // No request is shorter than this.
    constexpr std::size_t kShortest = std::string_view("A / HTTP/1.1\r\n\r\n").size();
    require(size == 0 ? finals == 0 : finals >= 1);
    require(finals <= size / kShortest + 1);
    return 0;
}
