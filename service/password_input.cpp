// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/password_input.h"

#include "terminal/password_prompt.h"

#include <string>
#include <utility>
#include <variant>

namespace service {

namespace {

constexpr std::size_t kFewestCharacters = 10;

} // namespace

Result<terminal::Secret> readNewPassword()
{
    auto answer = terminal::readPassword("Password: ", terminal::Ask::Twice);
    if (const auto* const fault = std::get_if<std::string>(&answer))
        return Error{*fault};
    auto& password = *std::get_if<terminal::Secret>(&answer);
    if (password.characters() < kFewestCharacters)
        return Error{"the password is too short; it needs at least " +
                     std::to_string(kFewestCharacters) + " characters"};
    return std::move(password);
}

} // namespace service
