// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/http/request.h"
#include "service/http/routes.h"

#include <optional>
#include <string>

namespace service {

/// How a server is reached.
struct OwnAddress
{
    /// It listens on loopback, and no proxy stands in front of it that others reach it by.
    bool onlyThisMachine = false;
    /// "https://usage.example.org"; empty when nobody said so.
    // NOLINTNEXTLINE(readability-redundant-member-init): some leave it out
    std::string publicUrl = {};
};

/// Why a request that may be another web page's is refused; nothing when it is not. Which requests
/// a browser makes for whom it says itself (Origin, Sec-Fetch-Site, Host), and who is no browser
/// says nothing of the kind. Any thread.
[[nodiscard]] std::optional<Fault>
refuseOtherPages(const Request& request, const Route& route, const OwnAddress& own);

} // namespace service
