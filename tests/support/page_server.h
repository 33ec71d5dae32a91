// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/scripted_server.h"

#include <QString>

namespace support {

/// Web pages on a loopback socket: the page /NAME has the title NAME, whatever the name and its
/// query.
/// Main thread; it works while the event loop runs.
class PageServer final
{
public:
    PageServer();

    /// The address of the page `name`, which holds nothing that needs to be escaped.
    [[nodiscard]] QString page(const QString& name) const;

private:
    ScriptedServer m_server;
};

} // namespace support
