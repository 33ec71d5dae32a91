// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <gio/gio.h>
#include <memory>
#include <utility>

namespace platform::secrets {

struct GlibRelease
{
    void operator()(gpointer object) const { g_object_unref(object); }

    void operator()(GError* error) const { g_error_free(error); }

    void operator()(GVariant* variant) const { g_variant_unref(variant); }

    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};

/// A reference that is ours, given back with its holder.
template <typename T> using GlibOwned = std::unique_ptr<T, GlibRelease>;

/// What follows an asynchronous call of GLib: runs once, on the thread that made the call.
using Continuation = std::function<void(GAsyncResult*)>;

/// The two last arguments of such a call, e.g. g_bus_get(..., continueAsync,
/// asyncData(continuation)). The data is freed with the call's end.
inline void continueAsync(GObject* /*source*/, GAsyncResult* result, gpointer data)
{
    const std::unique_ptr<Continuation> continuation(static_cast<Continuation*>(data));
    (*continuation)(result);
}

inline gpointer asyncData(Continuation continuation)
{
    return new Continuation(std::move(continuation));
}

} // namespace platform::secrets
