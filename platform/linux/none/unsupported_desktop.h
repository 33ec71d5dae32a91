// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"
#include "platform/idle_time.h"
#include "platform/script_runner.h"
#include "platform/window_title.h"

namespace platform::none {

/// The facilities of a desktop, or a part of one, that tells nothing. Saying so is right where a
/// guess would record the wrong application.

class NoIdleTime final : public IdleTime
{
public:
    [[nodiscard]] double secondsSinceLastInput() override;
};

class NoFrontmostApplication final : public FrontmostApplication
{
public:
    [[nodiscard]] std::optional<Application> frontmostApplication() override;
};

class NoWindowTitle final : public WindowTitle
{
public:
    [[nodiscard]] std::optional<QString>
    focusedWindowTitle(const Application& application) override;
};

class NoScriptRunner final : public ScriptRunner
{
public:
    [[nodiscard]] Result<std::optional<QString>> run(QStringView source) override;
};

} // namespace platform::none
