# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# The headers of the toolkit cost a source of ours half its time to compile. Where QUILLSTEP_PCH is on they are compiled
# once, for those targets that ask for it; it is off where sources have to show that they include what they need.
option(QUILLSTEP_PCH "Compile the toolkit's headers once" OFF)

# quillstep_precompiled_headers(NAME [FOR_PROGRAMS] LINK ... HEADERS ...): what other targets may share; libraries, or
# programs, which are compiled otherwise (-fPIE instead of -fPIC; GCC 14 looks at that).
function(quillstep_precompiled_headers name)
    cmake_parse_arguments(arg "FOR_PROGRAMS" "" "LINK;HEADERS;DEFINITIONS" ${ARGN})
    if(NOT QUILLSTEP_PCH)
        return()
    endif()
    file(WRITE "${PROJECT_BINARY_DIR}/${name}.cpp" "")
    add_library(${name} OBJECT "${PROJECT_BINARY_DIR}/${name}.cpp")
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    if(arg_FOR_PROGRAMS)
        set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
        target_compile_options(${name} PRIVATE -fPIE)
    endif()
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
    target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
endfunction()

# quillstep_share_headers(TARGET NAME): lets TARGET have those of NAME, if there are any.
function(quillstep_share_headers target name)
    if(TARGET ${name})
        target_precompile_headers(${target} REUSE_FROM ${name})
    endif()
endfunction()
