// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/token.h"

#include <array>
#include <cstdint>
#include <sodium.h>
#include <span>

namespace service {

namespace {

constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kDigestBytes = 24;
constexpr std::uint64_t kAbsent = ~0ULL; // in place of a length

std::string base64(std::span<const unsigned char> bytes)
{
    constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::string text(sodium_base64_encoded_len(bytes.size(), kVariant), '\0');
    ::sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), kVariant);
    text.pop_back(); // the terminator
    return text;
}

void add(crypto_generichash_state& state, const void* data, std::size_t size)
{
    ::crypto_generichash_update(&state, static_cast<const unsigned char*>(data), size);
}

using Texts = std::initializer_list<std::optional<std::string_view>>;

std::array<unsigned char, kDigestBytes> bytesOfDigest(Texts texts)
{
    crypto_generichash_state state;
    ::crypto_generichash_init(&state, nullptr, 0, kDigestBytes);
    for (const std::optional<std::string_view>& text : texts) {
        // Eight bytes, least significant first: the digest is stored and must not depend on the
        // machine.
        const std::uint64_t length = text ? text->size() : kAbsent;
        std::array<unsigned char, 8> prefix = {};
        for (std::size_t i = 0; i < prefix.size(); ++i)
            prefix.at(i) = static_cast<unsigned char>(length >> (8 * i));
        add(state, prefix.data(), prefix.size());
        const std::string_view bytes = text.value_or(std::string_view());
        add(state, bytes.data(), bytes.size());
    }
    std::array<unsigned char, kDigestBytes> digest = {};
    ::crypto_generichash_final(&state, digest.data(), digest.size());
    return digest;
}

} // namespace

std::string newToken()
{
    std::array<unsigned char, kTokenBytes> bytes = {};
    ::randombytes_buf(bytes.data(), bytes.size());
    return base64(bytes);
}

std::string digestOf(Texts texts)
{
    return base64(bytesOfDigest(texts));
}

std::uint32_t first32BitsOf(Texts texts)
{
    const auto digest = bytesOfDigest(texts);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < sizeof bits; ++i)
        bits = bits << 8U | digest.at(i);
    return bits;
}

} // namespace service
