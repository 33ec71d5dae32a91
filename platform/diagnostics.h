// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QStringView>

namespace platform {

/// The product's fixed lines on standard output, for people and programs that watch the agent.
/// Developer logging goes elsewhere (Qt logging categories on standard error).
/// Any thread.
class Diagnostics
{
public:
    Diagnostics() = default;
    Diagnostics(const Diagnostics&) = delete;
    Diagnostics& operator=(const Diagnostics&) = delete;
    virtual ~Diagnostics() = default;

    /// Writes `text` and a newline, at once. Control characters inside become blanks, so that one
    /// call is one line and a window title cannot steer a terminal. A reader that has gone or does
    /// not keep up loses the line; the caller never waits and is told nothing.
    virtual void line(QStringView text) = 0;
};

} // namespace platform
