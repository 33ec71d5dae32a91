// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/device_identity.h"

#include "platform/uuid.h"

namespace account {

QString deviceIdentity(platform::UserDefaults& defaults, const QString& key)
{
    if (const std::optional<QString> stored = defaults.string(key))
        return *stored;
    const auto text = platform::Uuid::random().toText();
    const QString created = QString::fromLatin1(text.data(), text.size());
    defaults.setString(key, created);
    return created;
}

} // namespace account
