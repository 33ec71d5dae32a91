# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# cmake -DPLIST=FILE -P print_plist.cmake: what the build would take from a property list.
cmake_policy(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/PackagingValues.cmake")
quillstep_read_plist("${PLIST}")
get_cmake_property(names VARIABLES)
foreach(name IN LISTS names)
    if(name MATCHES "^QUILLSTEP_")
        message("${name}=${${name}}")
    endif()
endforeach()
