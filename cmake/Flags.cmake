# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# The one place for compiler settings: every target of ours links quillstep_flags.
add_library(quillstep_flags INTERFACE)
target_compile_features(quillstep_flags INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)
target_compile_definitions(quillstep_flags INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH)
# -pthread everywhere: it defines a macro, and headers compiled once want the same macros everywhere.
target_compile_options(quillstep_flags INTERFACE -pthread
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${QUILLSTEP_WERROR}>:-Werror>)
target_include_directories(quillstep_flags INTERFACE "${PROJECT_SOURCE_DIR}")

# What Debian's hardening guide asks of a program, for every optimised build and not only for packages. Sanitizers
# have their own checks in the same places, and fortified functions need an optimiser.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
target_compile_options(quillstep_flags INTERFACE -Wformat -Werror=format-security)
if(NOT QUILLSTEP_SANITIZE AND CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fstack-clash-protection)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
        add_compile_options(-fcf-protection)
    endif()
endif()

if(QUILLSTEP_SANITIZE)
    # Set for the whole tree: a library built without them would hide what it does to memory.
    # Lines are what reports need; the rest of debugging information takes an eighth of the time to compile.
    add_compile_options(-g1 -fsanitize=${QUILLSTEP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${QUILLSTEP_SANITIZE})
    # Every test is a program of its own.
    find_program(QUILLSTEP_MOLD mold)
    if(QUILLSTEP_MOLD)
        add_link_options(-fuse-ld=mold)
    endif()
endif()

if(QUILLSTEP_FUZZ)
    # The fuzzer steers by the branches that are taken, so what it calls has to tell of them, not only the target.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(QUILLSTEP_COVERAGE)
    add_compile_options(-g1 --coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# clang-tidy takes the settings nearest to a file: what Qt generates into the build tree is not ours to
# tidy. One harmless check stays, because a list without any is an error.
file(WRITE "${PROJECT_BINARY_DIR}/.clang-tidy" "Checks: '-*,misc-definitions-in-headers'\n")
