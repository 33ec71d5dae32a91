// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QImage>
#include <QString>

namespace artwork {

/// Every symbol of `folder` with its name, in the sizes it is used in, dark on light and light on
/// dark. Fails when one cannot be drawn.
[[nodiscard]] platform::Result<QImage> contactSheet(const QString& folder);

} // namespace artwork
