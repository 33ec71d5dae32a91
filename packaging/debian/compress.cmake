# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Before a package is put together: Debian has manual pages and changelogs compressed (Policy, sections 12.1 and 12.7).
file(GLOB_RECURSE files "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/man/*.[1-8]"
    "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/doc/*/changelog")
if(NOT files)
    message(FATAL_ERROR "nothing to compress below ${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
endif()
execute_process(COMMAND gzip -9nf ${files} COMMAND_ERROR_IS_FATAL ANY)
