// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/script_runner.h"

#include <QStringList>

namespace fakes {

/// Answers every script with what the test has set, and keeps the scripts.
class FakeScriptRunner final : public platform::ScriptRunner
{
public:
    [[nodiscard]] platform::Result<std::optional<QString>> run(QStringView source) override
    {
        sources.append(source.toString());
        return answer;
    }

    platform::Result<std::optional<QString>> answer = std::optional<QString>();
    QStringList sources;
};

} // namespace fakes
