// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/diagnostics.h"

#include <QStringList>

#include <mutex>

namespace fakes {

/// Keeps every line; may be written from any thread.
class FakeDiagnostics final : public platform::Diagnostics
{
public:
    void line(QStringView text) override
    {
        const std::scoped_lock lock(m_mutex);
        m_lines.append(text.toString());
    }

    [[nodiscard]] QStringList lines() const
    {
        const std::scoped_lock lock(m_mutex);
        return m_lines;
    }

private:
    mutable std::mutex m_mutex;
    QStringList m_lines;
};

} // namespace fakes
