// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/front_window.h"

#include <QString>
#include <QVariantList>

#include <optional>

namespace platform::kwin {

/// D-Bus interface and method of the reports, "ssssssi": token, the window's id in KWin, caption,
/// class, instance, desktop file, process. An empty id: nothing is in front.
[[nodiscard]] QString reportInterface();
[[nodiscard]] QString reportMethod();

/// What the script in KWin says of the window in front.
struct KWinReport
{
    /// By which the reports of one script are told from all others'.
    QString token;
    /// None: nothing is in front that belongs to an application.
    std::optional<desktop::FrontWindow> front;

    bool operator==(const KWinReport&) const = default;
};

/// What the arguments of a report say; none when they are not those of a report. Titles are cut to
/// 16 KiB of UTF-8, longer identifiers than 1 KiB are left out.
/// Any thread.
[[nodiscard]] std::optional<KWinReport> decodeReport(const QVariantList& arguments);

} // namespace platform::kwin
