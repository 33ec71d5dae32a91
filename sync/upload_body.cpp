// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_body.h"

#include "sync/upload_payload_json.h"
#include "sync/upload_rows.h"

#include <utility>

namespace syncing {

namespace {

/// Writes the body, a row with each call.
class Parts final
{
public:
    Parts(std::string beginning, RunReader runs)
        : m_beginning(std::move(beginning))
        , m_runs(std::move(runs))
    {
    }

    [[nodiscard]] bool operator()(std::string& out)
    {
        if (m_isAtEnd)
            return false;
        const bool isFirst = !m_beginning.empty();
        out += std::exchange(m_beginning, {});
        const std::optional<AggregatedLog> run = m_runs.next();
        m_isAtEnd = !run;
        if (m_isAtEnd) {
            out += kEndOfBody;
            return true;
        }
        if (!isFirst)
            out += kBetweenRows;
        appendRow(out, uploadRow(*run));
        return true;
    }

private:
    std::string m_beginning;
    RunReader m_runs;
    bool m_isAtEnd = false;
};

} // namespace

platform::StreamedBody uploadBody(std::string beginning, const FoldedRows& rows)
{
    const auto size = static_cast<qint64>(beginning.size() + kEndOfBody.size()) + rows.bytes();
    return {
        .size = size,
        .begin = [beginning = std::move(beginning), logs = rows.logs(), order = rows.order()]()
            -> platform::StreamedBody::Parts { return Parts(beginning, RunReader(logs, order)); },
    };
}

} // namespace syncing
