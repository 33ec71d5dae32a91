// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace support {

/// A private session bus in an empty home, always at the same address, which can start the programs
/// of the service files in dataHome(). Needs the programs in programs(); see REQUIRE_PROGRAMS.
/// The bus and what it starts end with it, and with the test process.
/// Main thread. Calls block until what they promise holds, for some seconds at most.
class PrivateBus final
{
public:
    PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    [[nodiscard]] static QStringList programs();

    /// Starts it, again after kill().
    [[nodiscard]] platform::Outcome start();

    /// Ends the bus at once.
    void kill();

    /// Makes the bus hang and go on.
    void pause();
    void resume();

    [[nodiscard]] QString address() const;
    [[nodiscard]] QString home() const;

    /// $XDG_DATA_HOME, the folder "share" of the home; its folder dbus-1/services is the bus's only
    /// one.
    [[nodiscard]] QString dataHome() const;

    /// The test's own environment with this bus and a home of its own, without a display.
    [[nodiscard]] QProcessEnvironment environment() const;

    /// Adds to that environment; the programs that the bus starts have it from its next start() on.
    void set(const char* variable, const QString& value);

    /// What `gdbus call` prints for a call of `method` with `arguments`, in GVariant text, of the
    /// object `path` of `name`; with "Error: " in front when it fails. Starts nothing.
    [[nodiscard]] QString call(const QString& name,
                               const QString& path,
                               const QString& method,
                               const QStringList& arguments) const;

private:
    [[nodiscard]] platform::Outcome makeHome();

    QTemporaryDir m_home;
    QProcessEnvironment m_variables;
    ChildProcess m_bus;
};

} // namespace support
