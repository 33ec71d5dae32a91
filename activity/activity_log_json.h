// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/shared_text.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace platform {
class StrictJson;
}

namespace activity {

/// Appends the JSON object form of `log` (docs/formats.md, "Activity record"). False, with `out` as
/// it was, when its timestamp or duration is not a finite number.
/// Any thread.
[[nodiscard]] bool appendActivityLog(std::string& out, const ActivityLog& log);

/// Decodes stretches of JSON that hold whole records, strictly (docs/formats.md, "Activity
/// record"). One thread at a time.
class ActivityDecoder final
{
public:
    /// Bytes that must be readable, whatever they hold, behind a stretch that is handed in.
    [[nodiscard]] static std::size_t padding();

    /// Texts of the decoded records come from `pool`, which must outlive the decoder.
    explicit ActivityDecoder(TextPool& pool);
    ~ActivityDecoder();
    ActivityDecoder(const ActivityDecoder&) = delete;
    ActivityDecoder& operator=(const ActivityDecoder&) = delete;

    /// Appends the records of `array`, one complete JSON array, to `list`. False, with `list` as it
    /// was, when it is not valid JSON, nests deeper than 512 levels or holds anything but valid
    /// records.
    [[nodiscard]] bool decodeArray(std::span<const char> array, ActivityList& list);

private:
    std::unique_ptr<platform::StrictJson> m_parser;
    TextPool& m_pool;
};

} // namespace activity
