# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# The program that makes input in KWin, for tests and benchmarks, whichever of them are built.
if(TARGET kwin_input)
    return()
endif()
foreach(kind IN ITEMS client-header private-code)
    set(name "fake-input-client-protocol.h")
    if(kind STREQUAL "private-code")
        set(name "fake-input-protocol.c")
    endif()
    add_custom_command(OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/fake-input/${name}"
        COMMAND "${CMAKE_COMMAND}" -E make_directory "${CMAKE_CURRENT_BINARY_DIR}/fake-input"
        COMMAND "${QUILLSTEP_WAYLAND_SCANNER}" ${kind} "${QUILLSTEP_PLASMA_PROTOCOLS}/fake-input.xml"
            "${CMAKE_CURRENT_BINARY_DIR}/fake-input/${name}"
        DEPENDS "${QUILLSTEP_PLASMA_PROTOCOLS}/fake-input.xml" VERBATIM)
endforeach()
add_library(fake_input_protocol STATIC "${CMAKE_CURRENT_BINARY_DIR}/fake-input/fake-input-protocol.c"
    "${CMAKE_CURRENT_BINARY_DIR}/fake-input/fake-input-client-protocol.h")
target_compile_options(fake_input_protocol PRIVATE -w)
target_include_directories(fake_input_protocol SYSTEM PUBLIC "${CMAKE_CURRENT_BINARY_DIR}/fake-input")
target_link_libraries(fake_input_protocol PUBLIC PkgConfig::WAYLAND_CLIENT)
add_executable(kwin_input "${CMAKE_CURRENT_LIST_DIR}/kwin_input.cpp")
target_link_libraries(kwin_input PRIVATE quillstep_flags fake_input_protocol)
