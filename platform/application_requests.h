// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/activation_token.h"

#include <QObject>
#include <QString>

namespace platform {

/// What other programs ask of this one while it runs: launchers, the desktop's URL handling and
/// further starts of the program itself.
/// Main thread.
class ApplicationRequests : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    /// The user opened the program, which already runs.
    void activated(const platform::ActivationToken& token);

    /// Somebody wants this address opened; as it was given, of whatever scheme.
    void urlOpened(const QString& url, const platform::ActivationToken& token);

    /// The user chose one of the launcher's actions, by its name in the desktop file.
    void actionRequested(const QString& name, const platform::ActivationToken& token);
};

} // namespace platform
