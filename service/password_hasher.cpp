// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/password_hasher.h"

#include "service/database/token.h"

#include <array>
#include <cstdlib>
#include <sodium.h>

namespace service {

PasswordHasher::PasswordHasher()
{
    if (::sodium_init() < 0)
        std::abort();
    m_decoy = hash(newToken()).value_or(std::string());
}

std::optional<std::string> PasswordHasher::hash(std::string_view password)
{
    std::array<char, crypto_pwhash_STRBYTES> text = {};
    if (::crypto_pwhash_str(text.data(),
                            password.data(),
                            password.size(),
                            crypto_pwhash_OPSLIMIT_INTERACTIVE,
                            crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        return std::nullopt;
    return text.data();
}

std::optional<PasswordHasher::Turn> PasswordHasher::turn(std::chrono::milliseconds patience)
{
    if (!m_places.try_acquire_for(patience))
        return std::nullopt;
    return Turn(*this);
}

PasswordHasher::Turn::~Turn()
{
    if (m_hasher != nullptr)
        m_hasher->m_places.release();
}

bool PasswordHasher::Turn::verify(std::string_view password,
                                  const std::optional<std::string>& stored) const
{
    const std::string& against = stored ? *stored : m_hasher->m_decoy;
    const bool same =
        ::crypto_pwhash_str_verify(against.c_str(), password.data(), password.size()) == 0;
    return same && stored;
}

} // namespace service
