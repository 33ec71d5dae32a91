// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QStringList>

namespace resources {

/// What is wrong with `svg` as a symbol, a phrase each; none when nothing is. A symbol is opaque
/// black on a box of 24 units, in which it lies centred and which it nearly fills, so that symbols
/// side by side look equally large and can be given any colour. Main thread: it listens to Qt's
/// messages meanwhile.
[[nodiscard]] QStringList symbolFaults(const QByteArray& svg);

} // namespace resources
