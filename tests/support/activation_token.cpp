// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Prints a token by which another program may bring a window of its own to the front, as a launcher
// on Wayland hands it over, and ends when its standard input does: with the program that asked for
// it a token becomes void. Usage: activation_token
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <wayland-client.h>
#include <xdg-activation-client-protocol.h>

namespace {

void bindActivation(
    void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t)
{
    if (std::strcmp(interface, xdg_activation_v1_interface.name) == 0)
        *static_cast<void**>(data) =
            wl_registry_bind(registry, name, &xdg_activation_v1_interface, 1);
}

void forget(void*, wl_registry*, std::uint32_t) {}

void print(void*, xdg_activation_token_v1*, const char* token)
{
    std::puts(token);
    std::fflush(stdout);
}

constexpr wl_registry_listener kRegistryListener{.global = bindActivation, .global_remove = forget};
constexpr xdg_activation_token_v1_listener kTokenListener{.done = print};

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
    wl_registry_add_listener(registry, &kRegistryListener, &bound);
    wl_display_roundtrip(display);
    auto* const activation = static_cast<xdg_activation_v1*>(bound);
    if (activation == nullptr) {
        std::fputs("no activation here\n", stderr);
        return 1;
    }
    xdg_activation_token_v1* const token = xdg_activation_v1_get_activation_token(activation);
    xdg_activation_token_v1_add_listener(token, &kTokenListener, nullptr);
    xdg_activation_token_v1_commit(token);
    wl_display_roundtrip(display);
    while (std::getchar() != EOF) {
    }
    xdg_activation_token_v1_destroy(token);
    xdg_activation_v1_destroy(activation);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return 0;
}
