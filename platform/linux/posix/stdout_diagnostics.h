// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/diagnostics.h"

namespace platform::posix {

/// Diagnostics on a file descriptor, by default standard output.
class StdoutDiagnostics final : public Diagnostics
{
public:
    /// `descriptor` stays the caller's and must outlive this object.
    explicit StdoutDiagnostics(int descriptor = 1);

    void line(QStringView text) override;

private:
    int m_descriptor;
};

} // namespace platform::posix
