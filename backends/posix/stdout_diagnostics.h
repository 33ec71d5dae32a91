// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/diagnostics.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <mutex>

namespace platform::posix {

/// Diagnostics on a file descriptor, by default standard output.
class StdoutDiagnostics final : public Diagnostics
{
public:
    /// Where the descriptor leads.
    enum class Sink : std::uint8_t {
        Plain,
        /// The system's journal, which others may read and which keeps everything for months: the
        /// lines that tell of windows ("Tick: ") are not written.
        Journal,
    };

    /// `descriptor` stays the caller's and must outlive this object.
    explicit StdoutDiagnostics(int descriptor = 1, Sink sink = Sink::Plain);

    void line(QStringView text) override;

private:
    [[nodiscard]] QByteArray bytesOf(QStringView text);

    int m_descriptor;
    Sink m_sink;
    std::mutex m_mutex; // of the two below
    QString m_lastText;
    QByteArray m_lastBytes;
};

} // namespace platform::posix
