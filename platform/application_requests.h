// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "platform/app_activation.h"

#include <QLatin1StringView>
#include <QObject>
#include <QString>

#include <functional>

namespace platform {

/// What further starts of the program ask of the instance that runs and wait for: each is answered
/// when it is done, not when it has arrived.
namespace tasks {

/// To sign out.
inline constexpr QLatin1StringView kSignOut("sign-out");
/// To leave the keyring alone, because a sign-in is about to be saved there; what came of it.
inline constexpr QLatin1StringView kSignInBegins("sign-in-begins");
inline constexpr QLatin1StringView kSignInSaved("sign-in-saved");
inline constexpr QLatin1StringView kSignInFailed("sign-in-failed");

} // namespace tasks

/// What other programs ask of this one while it runs: launchers, the desktop's URL handling and
/// further starts of the program itself.
/// Main thread.
class ApplicationRequests : public QObject
{
    Q_OBJECT

public:
    /// Tells whoever asks that it is done, or why not. The first call counts. May be called at any
    /// time, also when nobody waits any more.
    using Answer = std::function<void(const Outcome&)>;

Q_SIGNALS:
    /// The user opened the program, which already runs.
    void activated(const platform::ActivationToken& token);

    /// Somebody wants this address opened; as it was given, of whatever scheme.
    void urlOpened(const QString& url, const platform::ActivationToken& token);

    /// The user chose one of the launcher's actions, by its name in the desktop file.
    void actionRequested(const QString& name, const platform::ActivationToken& token);

    /// Somebody waits for one of the tasks above.
    void taskRequested(const QString& name, const platform::ApplicationRequests::Answer& answer);
};

} // namespace platform
