// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/page_addresses/address_source.h"

#include <QStringView>

namespace platform::browsers {

/// Whether a browser window with the title `windowTitle` shows a page with the title `pageTitle`:
/// the page's title, a dash and the browser's name, and nothing else; with Edge, how many more
/// pages the window has and the profile's name may stand before its own. A browser that is not
/// known by name never does, nor a page without a title. The windows in which Firefox is private
/// have more than its name there, in whatever language; that keeps them out, as Firefox itself does
/// not tell its extensions when such a window comes to the front. Pure, any thread.
[[nodiscard]] bool isWindowOfPage(QStringView windowTitle, QStringView pageTitle, Family family);

/// Whether it is the title of a window of Tor Browser. Its executable is Firefox's, so the desktop
/// may take it for one.
/// Pure, any thread.
[[nodiscard]] bool isWindowOfTorBrowser(QStringView windowTitle);

} // namespace platform::browsers
