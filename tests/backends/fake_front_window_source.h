// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/sources.h"

namespace platform_tests {

/// A desktop that tells what a test has it tell.
class FakeFrontWindowSource final : public platform::desktop::FrontWindowSource
{
public:
    using Presence = platform::desktop::Presence;

    explicit FakeFrontWindowSource(const QString& name, Presence presence = Presence::Absent)
        : m_name(name)
        , m_presence(presence)
    {
    }

    [[nodiscard]] QString name() const override { return m_name; }

    [[nodiscard]] Presence presence() const override { return m_presence; }

    [[nodiscard]] QString advice() const override { return m_advice; }

    [[nodiscard]] std::optional<platform::desktop::FrontWindow> frontWindow() const override
    {
        return m_presence == Presence::Here ? window : std::nullopt;
    }

    void set(Presence presence, const QString& advice = {})
    {
        m_presence = presence;
        m_advice = advice;
        Q_EMIT presenceChanged();
    }

    std::optional<platform::desktop::FrontWindow> window;

private:
    QString m_name;
    Presence m_presence;
    QString m_advice;
};

} // namespace platform_tests
