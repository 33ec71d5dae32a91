// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/file_descriptor.h"
#include "platform/diagnostics.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <mutex>
#include <string_view>

namespace platform::posix {

/// Standard output for this program alone: readers rely on its lines. While an object of this class
/// exists, what libraries and programs that are started write there goes to standard error.
/// Before other threads write; one at a time.
class OwnStandardOutput final
{
public:
    OwnStandardOutput();
    OwnStandardOutput(const OwnStandardOutput&) = delete;
    OwnStandardOutput& operator=(const OwnStandardOutput&) = delete;
    ~OwnStandardOutput();

    /// Where the program's own lines go, as long as this object; -1 when standard output is closed.
    [[nodiscard]] int descriptor() const { return m_output.get(); }

private:
    FileDescriptor m_output;
};

/// The variable in which systemd.exec(5) tells a program which stream of its leads to the journal.
inline constexpr const char* kJournalStream = "JOURNAL_STREAM";

/// Whether `descriptor` is the stream that the variable's value `named` names, "DEVICE:INODE" in
/// decimals. The variable is inherited also by programs whose output leads elsewhere, so its being
/// there says nothing; a value of another form names no stream.
/// Any thread.
[[nodiscard]] bool isJournalStream(int descriptor, std::string_view named);

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
