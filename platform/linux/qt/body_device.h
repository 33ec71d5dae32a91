// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"

#include <QIODevice>

#include <cstddef>
#include <string>

namespace platform::qt {

/// A body as Qt Network reads it, some kilobytes at a time and only while it is connected.
/// Main thread.
class BodyDevice final : public QIODevice
{
public:
    explicit BodyDevice(StreamedBody body);

    [[nodiscard]] qint64 size() const override { return m_body.size; }

    /// Only to the beginning, as when a request is repeated, and to where it is.
    bool seek(qint64 position) override;

protected:
    qint64 readData(char* to, qint64 most) override;
    qint64 writeData(const char* from, qint64 size) override;

private:
    StreamedBody m_body;
    StreamedBody::Parts m_parts; // none before it is read
    std::string m_made;
    std::size_t m_given = 0; // of that
};

} // namespace platform::qt
