// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QString>
#include <QStringView>

#include <optional>

namespace platform {

/// Runs the short script texts by which a browser is asked for the address on show.
/// Main thread.
class ScriptRunner
{
public:
    ScriptRunner() = default;
    ScriptRunner(const ScriptRunner&) = delete;
    ScriptRunner& operator=(const ScriptRunner&) = delete;
    virtual ~ScriptRunner() = default;

    /// Runs `source`. A script that ran may have a text as its result or none; one that is not
    /// understood, or that nobody answers, is an error.
    [[nodiscard]] virtual Result<std::optional<QString>> run(QStringView source) = 0;
};

} // namespace platform
