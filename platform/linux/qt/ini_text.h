// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArrayView>

namespace platform::qt {

/// Whether `text` is an INI file as QSettings writes it or a person might: UTF-8 without control
/// characters, in lines of which each is empty, a comment (";" or "#"), a section in brackets or a
/// name, "=" and a value that ends on its line. QSettings itself reads something out of any bytes.
[[nodiscard]] bool isIniText(QByteArrayView text);

} // namespace platform::qt
