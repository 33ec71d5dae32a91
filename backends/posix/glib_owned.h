// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>
#include <memory>

namespace platform::posix {

struct GlibRelease
{
    /// Of whatever is not listed below, all of which are objects.
    void operator()(gpointer object) const noexcept { g_object_unref(object); }

    void operator()(gchar* text) const noexcept { g_free(text); }

    void operator()(gchar** texts) const noexcept { g_strfreev(texts); }

    void operator()(GError* error) const noexcept { g_error_free(error); }

    void operator()(GHashTable* table) const noexcept { g_hash_table_unref(table); }

    void operator()(GKeyFile* file) const noexcept { g_key_file_free(file); }

    void operator()(GList* list) const noexcept { g_list_free(list); } // not what is in it

    void operator()(GVariant* variant) const noexcept { g_variant_unref(variant); }
};

/// Something of GLib's that is ours, given back with its holder; a text array is a
/// GlibOwned<gchar*>.
template <typename T> using GlibOwned = std::unique_ptr<T, GlibRelease>;

/// One more reference to `object`, which is not null.
template <typename T> [[nodiscard]] GlibOwned<T> shareOf(T* object)
{
    return GlibOwned<T>(static_cast<T*>(g_object_ref(object)));
}

} // namespace platform::posix
