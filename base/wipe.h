// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <string.h>
#include <string>

namespace platform {

/// Let go of a secret: `secret` is empty afterwards, and its bytes are overwritten unless somebody
/// else shares them; then that one's are what is left, and the last to let go overwrites them.
/// Any thread.
template <typename QtText> void wipeQtText(QtText& secret)
{
    if (secret.isDetached())
        ::explicit_bzero(secret.data(),
                         static_cast<std::size_t>(secret.size()) * sizeof(*secret.constData()));
    secret = QtText();
}

inline void wipe(QString& secret)
{
    wipeQtText(secret);
}

inline void wipe(QByteArray& secret)
{
    wipeQtText(secret);
}

/// Overwrites the bytes of `secret` for all who share them; none of them may use them any more.
/// Those of a literal stay.
inline void overwriteForAll(QByteArray secret)
{
    if (secret.data_ptr().d_ptr() != nullptr)
        ::explicit_bzero(secret.data_ptr().data(), static_cast<std::size_t>(secret.size()));
}

/// Of a string also what it held before it became shorter.
inline void wipe(std::string& secret)
{
    secret.resize(secret.capacity());
    ::explicit_bzero(secret.data(), secret.size());
    secret.clear();
}

} // namespace platform
