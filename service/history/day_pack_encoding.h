// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/history/day_pack.h"

#include <optional>
#include <string>
#include <string_view>

namespace service {

/// A pack as it is stored. Numbers are LEB128 (seven bits a byte, least significant first, the high
/// bit says that more follow); a text is its length in bytes and its UTF-8. In this order:
///
///   1                                the version of this encoding
///   apps, sites, categories          each: a count and that many texts
///   entries                          a count and for each: slot, device, app, site, category
///   (these
///                                    two: 0 for none, else the index plus 1), seconds
///   union                            96 numbers of seconds
///   titles                           a count and for each: app, text, seconds
///
/// Any thread.
[[nodiscard]] std::string encodePack(const DayPack& pack);

/// Nothing when `bytes` are of another version or damaged: the rows are then added up anew.
[[nodiscard]] std::optional<DayPack> decodePack(std::string_view bytes);

} // namespace service
