// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"
#include "base/uuid.h"

#include <optional>

namespace activity {

/// One sample of what the user was doing. A plain value: what tells two records apart is `id`
/// alone, equal content means nothing.
struct ActivityLog
{
    /// Fresh and random unless given.
    platform::Uuid id = platform::Uuid::random();
    /// Display name of the frontmost application.
    SharedText appName;
    /// Title of its focused window; the tracker always gives one, if need be the empty text.
    std::optional<SharedText> windowTitle;
    /// Address of the page on show, for browsers that tell.
    std::optional<SharedText> url;
    /// When the sample was taken: seconds since 2001-01-01T00:00:00Z.
    double timestamp = 0;
    /// The span of time the sample stands for, in seconds.
    double duration = 0;

    bool operator==(const ActivityLog&) const = default;
};

} // namespace activity
