// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/origin.h"

#include "base/ascii.h"

#include <arpa/inet.h>
#include <string_view>

namespace service {

namespace {

/// Without the port.
std::string_view nameOf(std::string_view host)
{
    if (host.starts_with('['))
        return host.substr(0, host.find(']') + 1);
    return host.substr(0, host.find(':'));
}

bool isThisMachine(std::string_view host)
{
    const std::string name = platform::asciiLower(nameOf(host));
    in_addr address = {};
    constexpr unsigned char kLoopbackNetwork = 127;
    if (::inet_pton(AF_INET, name.c_str(), &address) == 1)
        return (ntohl(address.s_addr) >> 24U) == kLoopbackNetwork;
    return name == "localhost" || name == "[::1]";
}

/// "https://usage.example.org" of an address with a path.
std::string originOf(const std::string& url)
{
    const std::size_t scheme = url.find("://");
    return platform::asciiLower(
        url.substr(0, scheme == std::string::npos ? scheme : url.find('/', scheme + 3)));
}

bool isOwn(const std::string& origin, const std::string& host, const OwnAddress& own)
{
    const std::string lower = platform::asciiLower(origin);
    if (!own.publicUrl.empty())
        return lower == originOf(own.publicUrl);
    const std::string name = platform::asciiLower(host);
    return !name.empty() && (lower == "http://" + name || lower == "https://" + name);
}

} // namespace

std::optional<Fault>
refuseOtherPages(const Request& request, const Route& route, const OwnAddress& own)
{
    const std::string host = request.value("host");
    // A name of somebody else's that leads here would make a page of theirs one of ours.
    if (own.onlyThisMachine && !route.anyHost && request.has("host") && !isThisMachine(host))
        return Fault{
            .status = 421, .message = "This service is for its own machine only", .members = {}};
    if (request.method == "GET" || request.method == "HEAD")
        return std::nullopt;
    const bool isForeign = request.has("origin") && !isOwn(request.value("origin"), host, own);
    if (isForeign || request.value("sec-fetch-site") == "cross-site")
        return Fault{.status = 403, .message = "Other web pages cannot do this", .members = {}};
    const bool isBrowser = request.has("origin") || request.has("sec-fetch-site");
    const std::string type = platform::asciiLower(request.value("content-type"));
    if (isBrowser && route.bodyLimit > 0 && type != route.accepts &&
        !type.starts_with(route.accepts + ';'))
        return Fault{.status = 415,
                     .message = "The body must be announced as " + route.accepts,
                     .members = {}};
    return std::nullopt;
}

} // namespace service
