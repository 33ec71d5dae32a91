// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

namespace platform::gui {

/// The colour of a symbol in a panel. A panel's background is nowhere to be asked for: many are
/// dark on a light desktop, some are pictures. So the colour is one that stands out from both ends:
/// its contrast is 4.2 to white and 5.0 to black (WCAG 2.1 wants 3 of a graphical object).
inline constexpr QColor kPanelColor(0x2f, 0x7d, 0xd1);

/// The symbol `:/symbols/NAME.svg` in `color`, at the sizes that panels use, drawn sharply at
/// each. Null when there is no such symbol. GUI thread.
[[nodiscard]] QIcon symbolIcon(const QString& name, const QColor& color);

} // namespace platform::gui
