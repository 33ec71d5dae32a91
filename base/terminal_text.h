// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QStringView>

namespace platform {

/// `text` as one line for a terminal or a log, in UTF-8: each code point that could steer a
/// terminal, end the line or turn its order around is a space there (C0 and C1 controls, U+007F,
/// line and paragraph separators, bidirectional controls), and half a surrogate pair a question
/// mark. For whatever the service, a window or another program has had a say in. Any thread.
[[nodiscard]] QByteArray terminalText(QStringView text);

} // namespace platform
