// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/agent.h"
#include "tests/support/headless_x11.h"
#include "tests/support/keyring.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace support {

enum class Account : std::uint8_t {
    SignedIn, ///< the keyring holds the session of an earlier run of the product
    SignedOut,
};

/// A private X11 desktop with a session bus and an unlocked keyring. The product tracks from its
/// start when it is signed in. Needs the programs in programs().
/// Main thread.
class SignedInDesktop final
{
public:
    [[nodiscard]] static QStringList programs();

    /// Blocks until all of it is there, for some seconds at most.
    [[nodiscard]] platform::Outcome start(Account account = Account::SignedIn);

    /// For programs on this desktop.
    [[nodiscard]] QProcessEnvironment environment() const;

    [[nodiscard]] HeadlessX11& x11() { return m_x11; }

    [[nodiscard]] const HeadlessX11& x11() const { return m_x11; }

    [[nodiscard]] Keyring& keyring() { return m_keyring; }

    /// The X windows on screen whose title is exactly `title`, as xdotool names them.
    [[nodiscard]] QStringList windowsTitled(const QString& title) const;

    /// The title of the window that has the focus; empty when none has.
    [[nodiscard]] QString focusedTitle() const;

    /// Closes the window titled `title` as its close button does. An error when it does not go.
    [[nodiscard]] platform::Outcome closeWindow(const QString& title) const;

    /// Starts `agent`, which tracks from then on, and closes the dashboard that it opens, so that
    /// the focus is back where it was. An error when the window does not come or go.
    [[nodiscard]] platform::Outcome startTracking(Agent& agent, const QStringList& arguments = {});

private:
    HeadlessX11 m_x11;
    Keyring m_keyring;
};

} // namespace support
