// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/front_window_source.h"

#include <memory>

namespace platform::atspi {

class AccessibilityBus;
class FrontWindowWatch;

/// The window in front as programs tell assistive ones. Programs that take no part in accessibility
/// are never in front; a Qt program takes part only if it was started when accessibility was on.
/// Main thread.
class AccessibleFrontWindow final : public desktop::FrontWindowSource
{
    Q_OBJECT

public:
    /// `bus` must outlive this. While this exists, programs send their window events.
    explicit AccessibleFrontWindow(AccessibilityBus& bus);
    AccessibleFrontWindow(const AccessibleFrontWindow&) = delete;
    AccessibleFrontWindow& operator=(const AccessibleFrontWindow&) = delete;
    ~AccessibleFrontWindow() override;

    [[nodiscard]] QString name() const override;
    [[nodiscard]] desktop::Presence presence() const override;

    /// As in the interface. A program that does not answer within a fifth of a second has no
    /// window in front. To be called once a second: a new title is noticed at the second call after
    /// it has come.
    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const override;

    [[nodiscard]] QString advice() const override;

private:
    void look();

    AccessibilityBus& m_bus;
    std::unique_ptr<FrontWindowWatch> m_watch;
    desktop::Presence m_presence;
};

} // namespace platform::atspi
