// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Moves the pointer of a KWin that permits it to everybody. Usage: kwin_input
//
// Ends with 0 when KWin has taken the movement.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fake-input-client-protocol.h>
#include <wayland-client.h>

namespace {

constexpr std::uint32_t kVersion = 2; // nothing newer is used here

void bindFakeInput(
    void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t)
{
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0)
        *static_cast<void**>(data) =
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, kVersion);
}

void forget(void*, wl_registry*, std::uint32_t) {}

constexpr wl_registry_listener kListener{.global = bindFakeInput, .global_remove = forget};

} // namespace

int main()
{
    wl_display* const display = wl_display_connect(nullptr);
    if (display == nullptr) {
        std::fputs("no Wayland display\n", stderr);
        return 1;
    }
    void* bound = nullptr;
    wl_registry* const registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &kListener, &bound);
    wl_display_roundtrip(display);
    auto* const input = static_cast<org_kde_kwin_fake_input*>(bound);
    if (input == nullptr) {
        std::fputs("no fake input here\n", stderr);
        return 1;
    }
    org_kde_kwin_fake_input_authenticate(input, "kwin_input", "test");
    // There and back: at the edge of the screen one of the two moves nothing.
    org_kde_kwin_fake_input_pointer_motion(input, wl_fixed_from_int(3), wl_fixed_from_int(3));
    org_kde_kwin_fake_input_pointer_motion(input, wl_fixed_from_int(-3), wl_fixed_from_int(-3));
    const bool isTaken = wl_display_roundtrip(display) >= 0;
    org_kde_kwin_fake_input_destroy(input);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return isTaken ? 0 : 1;
}
