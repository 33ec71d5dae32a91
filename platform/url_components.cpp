// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/url_components.h"

#include "platform/url_characters.h"
#include "platform/url_host.h"

#include <algorithm>
#include <cstddef>

namespace platform {

namespace {

constexpr auto kNowhere = std::string_view::npos;

/// Cuts off and returns what stands before the first of `delimiters`.
std::string_view takeUntil(std::string_view& text, std::string_view delimiters)
{
    const std::size_t end = std::min(text.find_first_of(delimiters), text.size());
    const std::string_view head = text.substr(0, end);
    text.remove_prefix(end);
    return head;
}

bool isScheme(std::string_view text)
{
    return isAsciiLetter(text.front()) && std::ranges::all_of(text, [](char c) {
               return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.';
           });
}

/// Takes the scheme and its colon off `rest`; false when what stands there cannot be one.
bool takeScheme(std::string_view& rest, UrlComponents& parts)
{
    const std::size_t end = rest.find_first_of(":/?#[]@");
    if (end == kNowhere || end == 0 || rest[end] != ':')
        return true;
    parts.scheme = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return isScheme(*parts.scheme);
}

/// Where the colon before the port is, nowhere without one; none when something else follows
/// the brackets of an IP address.
std::optional<std::size_t> portColon(std::string_view hostAndPort)
{
    if (!hostAndPort.starts_with('['))
        return hostAndPort.find(':');
    const std::size_t bracket = hostAndPort.find(']');
    if (bracket == kNowhere)
        return hostAndPort.find(':');
    if (bracket + 1 == hostAndPort.size())
        return kNowhere;
    return hostAndPort[bracket + 1] == ':' ? std::optional(bracket + 1) : std::nullopt;
}

/// Takes "//" and what belongs to it off `rest`; false when it cannot be split or the port is no
/// number.
bool takeAuthority(std::string_view& rest, UrlComponents& parts)
{
    if (!rest.starts_with("//"))
        return true;
    rest.remove_prefix(2);
    std::string_view authority = takeUntil(rest, "/?#");
    if (const std::size_t at = authority.rfind('@'); at != kNowhere) {
        const std::string_view info = authority.substr(0, at);
        const std::size_t colon = info.find(':');
        parts.user = info.substr(0, colon);
        if (colon != kNowhere)
            parts.password = info.substr(colon + 1);
        authority.remove_prefix(at + 1);
    }
    const auto colon = portColon(authority);
    if (!colon)
        return false;
    parts.host = authority.substr(0, *colon);
    if (*colon != kNowhere)
        parts.port = authority.substr(*colon + 1);
    return std::ranges::all_of(parts.port.value_or(std::string_view()), isAsciiDigit);
}

/// Splits at the delimiters; the host is not yet looked at.
std::optional<UrlComponents> splitAtDelimiters(std::string_view rest)
{
    UrlComponents parts;
    if (!takeScheme(rest, parts) || !takeAuthority(rest, parts))
        return std::nullopt;
    parts.path = takeUntil(rest, "?#");
    if (rest.starts_with('?')) {
        rest.remove_prefix(1);
        parts.query = takeUntil(rest, "#");
    }
    if (rest.starts_with('#'))
        parts.fragment = rest.substr(1);
    return parts;
}

/// Nothing says that it is an address, and characters that it may not have say that it is not.
bool isPlainText(const UrlComponents& parts)
{
    if (parts.scheme || parts.host)
        return false;
    const std::string_view fragment = parts.fragment.value_or(std::string_view());
    return !isValidUrlText(parts.path, UrlPlace::Path) ||
           !isValidUrlText(fragment, UrlPlace::QueryOrFragment);
}

void appendRepaired(std::string& out, std::string_view text, UrlPlace place)
{
    if (isValidUrlText(text, place))
        out += text;
    else
        appendUrlEncoded(out, text, place);
}

void appendPath(std::string& out, std::string_view path)
{
    if (isValidUrlText(path, UrlPlace::Path)) {
        out += path;
        return;
    }
    const std::size_t slash = std::min(path.find('/'), path.size());
    appendUrlEncoded(out, path.substr(0, slash), UrlPlace::FirstSegment);
    appendUrlEncoded(out, path.substr(slash), UrlPlace::Path);
}

/// False when the host cannot be one.
bool appendAuthority(std::string& out, const UrlComponents& parts)
{
    if (!parts.host)
        return true;
    out += "//";
    if (parts.user) {
        appendRepaired(out, *parts.user, UrlPlace::UserInfo);
        if (parts.password) {
            out += ':';
            appendRepaired(out, *parts.password, UrlPlace::UserInfo);
        }
        out += '@';
    }
    if (!appendUrlHost(out, *parts.host))
        return false;
    if (parts.port) {
        out += ':';
        out += *parts.port;
    }
    return true;
}

} // namespace

std::optional<UrlComponents> splitUrl(std::string_view address)
{
    const auto parts = splitAtDelimiters(address);
    std::string written;
    const bool parses = parts && !isPlainText(*parts) && appendAuthority(written, *parts);
    return parses ? parts : std::nullopt;
}

bool hasUrlQuery(std::string_view address)
{
    const std::size_t mark = address.find('?');
    return mark != kNowhere && address.substr(0, mark).find('#') == kNowhere;
}

std::string withoutUrlQuery(std::string_view address)
{
    if (!hasUrlQuery(address))
        return std::string(address);
    const auto parts = splitAtDelimiters(address);
    if (!parts || isPlainText(*parts))
        return std::string(address);
    std::string out;
    out.reserve(address.size());
    if (parts->scheme) {
        out += *parts->scheme;
        out += ':';
    }
    if (!appendAuthority(out, *parts))
        return std::string(address);
    appendPath(out, parts->path);
    if (parts->fragment) {
        out += '#';
        appendRepaired(out, *parts->fragment, UrlPlace::QueryOrFragment);
    }
    return out;
}

std::string urlHostKey(std::string_view address)
{
    const auto parts = splitAtDelimiters(address);
    if (!parts || !parts->host)
        return std::string(address);
    if (parts->host->empty()) {
        const bool hasMore = parts->user || !parts->port.value_or(std::string_view()).empty();
        return hasMore ? std::string() : std::string(address);
    }
    std::string host;
    if (!appendUrlHost(host, *parts->host))
        return std::string(address);
    std::string_view bare = host;
    if (isBracketedHost(bare))
        bare = bare.substr(1, bare.size() - 2);
    return urlDecoded(bare).value_or(std::string(address));
}

} // namespace platform
