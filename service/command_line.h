// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/result.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <string>

namespace service {

/// What the program was asked to do.
struct CommandLine
{
    enum class Action : std::uint8_t {
        Serve,
        AddUser,
        SetPassword,
        RevokeTokens,
        RemoveUser,
        Summary,
        Help,
        Version,
    };

    Action action = Action::Serve;
    QString database;
    std::string address = "127.0.0.1";
    int port = 0;
    bool trustProxy = false;
    std::string publicUrl;            ///< the address that users know; empty when not said
    std::int64_t largestUpload = 512; ///< in MiB
    std::string email;                ///< of the user that it is about
    std::string name;                 ///< of the user to add

    /// Reads the arguments, without the program's name. The error is one line for the user.
    [[nodiscard]] static Result<CommandLine> parse(const QStringList& arguments);

    [[nodiscard]] static const char* help();
};

} // namespace service
