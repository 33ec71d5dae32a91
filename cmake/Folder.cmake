# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# quillstep_folder(NAME [WITHOUT_QT] SOURCES ... HEADERS ... LINK ... PRIVATE_LINK ...)
# One static library for a folder. HEADERS are checked to compile on their own (target all_verify_interface_header_sets).
function(quillstep_folder name)
    cmake_parse_arguments(arg "WITHOUT_QT" "" "SOURCES;HEADERS;LINK;PRIVATE_LINK" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS})
    target_link_libraries(${name} PUBLIC quillstep_flags ${arg_LINK} PRIVATE ${arg_PRIVATE_LINK})
    if(NOT arg_WITHOUT_QT)
        quillstep_share_headers(${name} quillstep_headers)
    endif()
    set_target_properties(${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()
