// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/process_pairing.h"

#include "platform/linux/wayland/sway_messages.h"
#include "platform/linux/wayland/toplevel_list.h"

namespace platform::wayland {

void ProcessPairing::update(const Toplevel* front, const SwayWindow* focused)
{
    if (front == nullptr || focused == nullptr) {
        forget();
        return;
    }
    if (m_processIdentifier != 0 && front->number == m_front && focused->container == m_focused)
        return;
    forget();
    if (front->appId != focused->appId || front->title.value_or("") != focused->title)
        return;
    m_front = front->number;
    m_focused = focused->container;
    m_processIdentifier = focused->processIdentifier;
}

void ProcessPairing::forget()
{
    *this = {};
}

} // namespace platform::wayland
