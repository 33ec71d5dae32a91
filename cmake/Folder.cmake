# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# quillstep_folder(NAME [WITHOUT_QT] SOURCES ... HEADERS ... LINK ... PRIVATE_LINK ...)
# One static library for a folder. HEADERS compile on their own: those with a source show it there, where they come first
# (tests/lint/lint.py own-header); the others are checked by the target all_verify_interface_header_sets.
function(quillstep_folder name)
    cmake_parse_arguments(arg "WITHOUT_QT" "" "SOURCES;HEADERS;LINK;PRIVATE_LINK" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    set(alone ${arg_HEADERS})
    foreach(source IN LISTS arg_SOURCES)
        string(REGEX REPLACE "[.]cpp$" ".h" header "${source}")
        if(source MATCHES "[.]cpp$")
            list(REMOVE_ITEM alone "${header}")
        endif()
    endforeach()
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS}
        PUBLIC FILE_SET headers_alone TYPE HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${alone})
    target_link_libraries(${name} PUBLIC quillstep_flags ${arg_LINK} PRIVATE ${arg_PRIVATE_LINK})
    if(NOT arg_WITHOUT_QT)
        quillstep_share_headers(${name} quillstep_headers)
    endif()
    set_target_properties(${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON
        INTERFACE_HEADER_SETS_TO_VERIFY headers_alone)
endfunction()
