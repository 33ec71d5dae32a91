// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QDBusConnection>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <vector>

namespace support {

/// Part of a program as an assistive program sees it (AT-SPI, the interface org.a11y.atspi).
struct AssistiveElement
{
    QString service;
    QString path;
    QString name;
    std::uint32_t role = 0;
    std::uint64_t states = 0;

    [[nodiscard]] bool has(std::uint32_t state) const { return ((states >> state) & 1U) != 0; }
};

// Numbers of AtspiRole and AtspiStateType.
inline constexpr std::uint32_t kRoleCheckBox = 7;
inline constexpr std::uint32_t kRolePasswordText = 40;
inline constexpr std::uint32_t kRolePushButton = 43;
inline constexpr std::uint32_t kRoleSlider = 51;
inline constexpr std::uint32_t kStateChecked = 4;
inline constexpr std::uint32_t kStateEnabled = 8;
inline constexpr std::uint32_t kStateFocused = 12;
inline constexpr std::uint32_t kStateShowing = 25;

/// Reads programs through a private accessibility bus. Main thread; blocks some seconds at most.
class AssistiveReader final
{
public:
    AssistiveReader() = default;
    AssistiveReader(const AssistiveReader&) = delete;
    AssistiveReader& operator=(const AssistiveReader&) = delete;
    ~AssistiveReader();

    [[nodiscard]] static QStringList programs();

    /// Starts the accessibility bus of the session bus in `environment`. Programs that are to be
    /// read are started with programEnvironment().
    [[nodiscard]] platform::Outcome start(const QProcessEnvironment& environment);

    /// `environment` with the toolkit's part switched on.
    [[nodiscard]] static QProcessEnvironment
    programEnvironment(const QProcessEnvironment& environment);

    /// Everything in the window titled `window`, of whatever program, depth first.
    [[nodiscard]] std::vector<AssistiveElement> elements(const QString& window) const;

    /// The first element there with this name, and with this role unless that is 0.
    [[nodiscard]] std::optional<AssistiveElement>
    find(const QString& window, const QString& name, std::uint32_t role = 0) const;

    /// Where it is on the screen.
    [[nodiscard]] QRect place(const AssistiveElement& element) const;

    /// What the element gives away as its text; empty when it has none.
    [[nodiscard]] QString text(const AssistiveElement& element) const;

    /// The names of what can be done with it: "Press".
    [[nodiscard]] QStringList actions(const AssistiveElement& element) const;

    /// Does what the action of this name does; false when the element does not offer it.
    [[nodiscard]] bool perform(const AssistiveElement& element, const QString& action) const;

    /// Has a slider stand at `value`; false when it has no value.
    [[nodiscard]] bool setValue(const AssistiveElement& element, double value) const;

    /// Has a field hold `text`; false when it takes none.
    [[nodiscard]] bool setText(const AssistiveElement& element, const QString& text) const;

private:
    [[nodiscard]] QDBusConnection bus() const;
    [[nodiscard]] std::vector<AssistiveElement> children(const QString& service,
                                                         const QString& path) const;
    void collect(const AssistiveElement& from, std::vector<AssistiveElement>& into) const;

    ChildProcess m_launcher;
    QString m_connection;
};

} // namespace support
