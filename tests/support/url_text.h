// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/url_components.h"

#include <string>

/// What tests of addresses share.
namespace support {

/// The address that `parts` were split from, put together again.
inline std::string joined(const platform::UrlComponents& parts)
{
    std::string text;
    if (parts.scheme)
        text += std::string(*parts.scheme) + ':';
    if (parts.host) {
        text += "//";
        if (parts.user)
            text += *parts.user;
        if (parts.password)
            text += ':' + std::string(*parts.password);
        if (parts.user)
            text += '@';
        text += *parts.host;
        if (parts.port)
            text += ':' + std::string(*parts.port);
    }
    text += parts.path;
    if (parts.query)
        text += '?' + std::string(*parts.query);
    if (parts.fragment)
        text += '#' + std::string(*parts.fragment);
    return text;
}

} // namespace support
