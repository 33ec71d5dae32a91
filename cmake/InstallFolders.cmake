# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Where an installation script puts what names the prefix: only the installation knows it.

# quillstep_install_folders(BINDIR SYSCONFDIR) sets `prefix`, `programs` and `settings` from the names of the
# folders. The folder for settings is /etc for what is installed into /usr (GNU Coding Standards and the
# Filesystem Hierarchy).
macro(quillstep_install_folders bindir sysconfdir)
    get_filename_component(prefix "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
    get_filename_component(programs "${bindir}" ABSOLUTE BASE_DIR "${prefix}")
    if(prefix STREQUAL "/usr")
        set(settings "/etc")
    else()
        get_filename_component(settings "${sysconfdir}" ABSOLUTE BASE_DIR "${prefix}")
    endif()
endmacro()
