// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_frontmost_application.h"

#include "platform/linux/x11/x11_mirror.h"
#include "platform/linux/xdg/application_names.h"

namespace platform::x11 {

X11FrontmostApplication::X11FrontmostApplication(X11Mirror& mirror, xdg::ApplicationNames& names)
    : m_mirror(mirror)
    , m_names(names)
{
}

std::optional<Application> X11FrontmostApplication::frontmostApplication()
{
    const FocusedWindow* const focused = m_mirror.focusedWindow();
    if (focused == nullptr)
        return std::nullopt;
    const int edition = m_names.edition();
    // While nothing has changed the identifiers are the same list, which compares at once.
    if (m_edition == edition && m_application.window == focused->window &&
        m_application.processIdentifier == focused->processIdentifier &&
        m_identifiers == focused->identifiers)
        return m_application;
    const xdg::ApplicationIdentity identity =
        m_names.identify(focused->identifiers, focused->processIdentifier);
    m_edition = edition;
    m_identifiers = focused->identifiers;
    m_application = {.localizedName = identity.name,
                     .bundleIdentifier = identity.identifier,
                     .processIdentifier = focused->processIdentifier,
                     .window = focused->window};
    return m_application;
}

} // namespace platform::x11
