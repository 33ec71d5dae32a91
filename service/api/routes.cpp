// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/api/routes.h"

namespace service {

namespace {
constexpr std::uint64_t kLongestSignIn = 64UL << 10U;
}

std::vector<Route> apiRoutes(Api& api, std::uint64_t largestUpload)
{
    return {
        {.method = "POST",
         .pattern = "/api/token",
         .bodyLimit = kLongestSignIn,
         .caller = Caller::Anybody,
         .handler = [&api](Request& request) { return api.signIn(request); },
         .work = Work::Long},
        {.method = "POST",
         .pattern = "/api/activity-log",
         .bodyLimit = largestUpload,
         .caller = Caller::Bearer,
         .handler =
             [&api](Request& request) {
                 return api.store(request);
             }},
    };
}

} // namespace service
