# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Before a package is put together, what Debian's Policy wants of its files: programs without symbols and comments
# (10.1), manual pages and changelogs compressed (12.1, 12.7).
file(GLOB programs "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/bin/*")
file(GLOB_RECURSE texts "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/man/*.[1-8]"
    "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/doc/*/changelog")
if(NOT programs OR NOT texts)
    message(FATAL_ERROR "programs or texts are missing below ${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
endif()
execute_process(COMMAND strip --remove-section=.comment --remove-section=.note ${programs} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND gzip -9nf ${texts} COMMAND_ERROR_IS_FATAL ANY)
