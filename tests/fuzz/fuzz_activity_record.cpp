// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Any record: what the writer writes the reader reads back as the same record, to the last bit.
#include "tests/support/activity_samples.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>

namespace {

constexpr std::size_t kLongest = 300;

std::optional<activity::SharedText> optionalText(FuzzedDataProvider& data)
{
    if (!data.ConsumeBool())
        return std::nullopt;
    return activity::SharedText(data.ConsumeRandomLengthString(kLongest));
}

double number(FuzzedDataProvider& data)
{
    return data.ConsumeBool() ? data.ConsumeFloatingPoint<double>()
                              : data.ConsumeFloatingPointInRange(-1e18, 1e18);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    activity::ActivityList list;
    while (data.remaining_bytes() > 0) {
        const activity::ActivityLog log{
            .appName = activity::SharedText(data.ConsumeRandomLengthString(kLongest)),
            .windowTitle = optionalText(data),
            .url = optionalText(data),
            .timestamp = number(data),
            .duration = number(data),
        };
        std::string text = "kept";
        if (!activity::appendActivityLog(text, log)) {
            const bool finite = std::isfinite(log.timestamp) && std::isfinite(log.duration);
            if (finite || text != "kept")
                std::abort();
            continue;
        }
        list.append(log);
    }
    const auto back = samples::read(samples::json(list));
    if (!back || samples::records(*back) != samples::records(list))
        std::abort();
    return 0;
}
