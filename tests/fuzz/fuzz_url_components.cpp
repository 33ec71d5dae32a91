// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Any text as an address: its components are it, removing the query leaves none and can be
// repeated, and what was valid comes back byte for byte.
#include "base/url_components.h"
#include "tests/support/url_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

using platform::UrlComponents;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// Whether `text` has only letters, digits, `others` and complete escapes. Said once more, not
/// with the tables of the product.
bool isMadeOf(std::string_view text, std::string_view others)
{
    static constexpr std::string_view kHex = "0123456789abcdefABCDEF";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                             (c >= 'A' && c <= 'Z') || others.find(c) != std::string_view::npos;
        const bool isEscape = c == '%' && i + 2 < text.size() &&
                              kHex.find(text[i + 1]) != std::string_view::npos &&
                              kHex.find(text[i + 2]) != std::string_view::npos;
        if (!isPlain && !isEscape)
            return false;
    }
    return true;
}

bool isUserText(std::optional<std::string_view> text)
{
    return !text || isMadeOf(*text, "-._~!$&'()*+,;=:");
}

/// Brackets are left out: their rule is checked by its own examples.
bool isNameText(std::optional<std::string_view> text)
{
    return !text || isMadeOf(*text, "-._~!$&'()*+,;=");
}

bool isPathText(std::string_view text)
{
    return isMadeOf(text, "-._~!$&'()*+,;=:@/");
}

bool isFragmentText(std::optional<std::string_view> text)
{
    return !text || isMadeOf(*text, "-._~!$&'()*+,;=:@/?");
}

void compare(const UrlComponents& before, const UrlComponents& after)
{
    require(after.scheme == before.scheme && after.port == before.port);
    require(after.user.has_value() == before.user.has_value());
    require(after.password.has_value() == before.password.has_value());
    require(after.host.has_value() == before.host.has_value());
    require(after.fragment.has_value() == before.fragment.has_value());
    require(!after.query);
    require(!isUserText(before.user) || after.user == before.user);
    require(!isUserText(before.password) || after.password == before.password);
    require(!isNameText(before.host) || after.host == before.host);
    require(!isPathText(before.path) || after.path == before.path);
    require(!isFragmentText(before.fragment) || after.fragment == before.fragment);
    // Whatever was not valid is now.
    require(isUserText(after.user) && isUserText(after.password) && isPathText(after.path));
    require(isFragmentText(after.fragment));
    require(!after.host || after.host->starts_with('[') || isNameText(after.host));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    const std::string bare = platform::withoutUrlQuery(text);
    require(platform::withoutUrlQuery(bare) == bare);
    const bool hasQuery = platform::hasUrlQuery(text);
    require(hasQuery == (text.find('?') < text.find('#')));
    require(hasQuery || bare == text);

    const std::string key = platform::urlHostKey(text);
    const auto parts = platform::splitUrl(text);
    if (!parts) {
        require(bare == text && key == text);
        return 0;
    }
    require(support::joined(*parts) == text);
    require(parts->query.has_value() == hasQuery);
    require(!platform::hasUrlQuery(bare));
    const auto rest = platform::splitUrl(bare);
    require(rest.has_value());
    if (hasQuery)
        compare(*parts, *rest);
    const bool keyIsHost = key != text;
    require(!keyIsHost || (parts->host && platform::urlHostKey(bare) == key));
    return 0;
}
