// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/accounts.h"
#include "service/database/retention.h"
#include "service/request_log.h"
#include "service/result.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace service {

/// What the program was asked to do, by its arguments, the environment and a file.
struct CommandLine
{
    enum class Action : std::uint8_t {
        Serve,
        CheckConfig,
        AddUser,
        SetPassword,
        RevokeTokens,
        RemoveUser,
        ListUsers,
        ListDevices,
        AddToken,
        ExportUser,
        Prune,
        Summary,
        Help,
        Version,
    };

    struct Listener
    {
        std::string address;
        int port = 0;

        bool operator==(const Listener&) const = default;
    };

    /// A setting that is not as it is by default.
    struct Setting
    {
        std::string name;
        std::string value; ///< without what is secret
        std::string source;
    };

    Action action = Action::Serve;
    QString database;
    QString reportDatabase; ///< empty when it is the same
    std::string address = "127.0.0.1";
    int port = 0;
    std::optional<Listener> metrics;
    bool trustProxy = false;
    std::string publicUrl;             ///< the address that users know; empty when not said
    std::int64_t largestUpload = 512;  ///< in MiB
    std::optional<std::int64_t> quota; ///< of a user, in MiB
    Retention retention;
    LogFormat log = LogFormat::Text;
    std::string email;          ///< of the user that it is about
    std::string name;           ///< of the user to add
    bool dryRun = false;        ///< only say what would be deleted
    Scope scope = Scope::Read;  ///< of the token to add
    std::vector<Setting> given; ///< for --check-config

    /// Reads the arguments, without the program's name; where they do not say something, variables
    /// VELOMIRA_SERVICE_... of `environment`, and then the file that --config names; where a value
    /// of the first two is empty, they do not say it. The error is
    /// one line for the user, without what is secret. Blocks on the file.
    [[nodiscard]] static Result<CommandLine> parse(const QStringList& arguments,
                                                   const QProcessEnvironment& environment = {});

    [[nodiscard]] static const char* help();
};

} // namespace service
