// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/spare_memory.h"

#include <cstdint>
#include <link.h>
#include <malloc.h>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace platform::posix {

namespace {

// In the loader's lists addresses are numbers, and values are unions.
// NOLINTBEGIN(performance-no-int-to-ptr,cppcoreguidelines-pro-type-union-access)

/// What the loader has written into is not in the file as it is in memory.
bool isPatched(const dl_phdr_info& object, const ElfW(Phdr) & dynamic)
{
    const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(object.dlpi_addr + dynamic.p_vaddr);
    for (; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_TEXTREL ||
            (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0))
            return true;
    }
    return false;
}

int letGoOfFile(dl_phdr_info* object, std::size_t /*size*/, void* /*data*/)
{
    const std::span segments(object->dlpi_phdr, object->dlpi_phnum);
    for (const ElfW(Phdr) & segment : segments) {
        if (segment.p_type == PT_DYNAMIC && isPatched(*object, segment))
            return 0;
    }
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    for (const ElfW(Phdr) & segment : segments) {
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0)
            continue;
        // Mapped in whole pages, from the one that it begins in to the one that it ends in.
        const std::uintptr_t begin = (object->dlpi_addr + segment.p_vaddr) & ~(page - 1);
        const std::uintptr_t end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}

// NOLINTEND(performance-no-int-to-ptr,cppcoreguidelines-pro-type-union-access)

} // namespace

void letGoOfSpareMemory()
{
    ::malloc_trim(0);
    ::dl_iterate_phdr(letGoOfFile, nullptr);
}

} // namespace platform::posix
