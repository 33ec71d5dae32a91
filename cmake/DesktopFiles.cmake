# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# What tells a desktop of the application. The files hold the full path of the executable, which only the
# installation knows: it may be given another prefix than the configuration.

# quillstep_desktop_files(TEMPLATES OUTPUT EXECUTABLE) writes the files for the installed program EXECUTABLE into the
# folder OUTPUT, from the templates in the folder TEMPLATES and the values of quillstep_read_plist().
function(quillstep_desktop_files templates output executable)
    # Both kinds of file know quotes. What would still mean something in them is not worth its escaping.
    if(executable MATCHES "[\"\\\\`$%\n]")
        message(FATAL_ERROR "the path ${executable} cannot be named in a desktop file")
    endif()
    set(QUILLSTEP_EXEC "${executable}")
    if(NOT executable MATCHES "^[A-Za-z0-9/._+@:,-]+$")
        set(QUILLSTEP_EXEC "\"${executable}\"")
    endif()
    # What is not said to be anywhere is not claimed.
    set(QUILLSTEP_WEB "")
    if(QUILLSTEP_HOMEPAGE)
        string(APPEND QUILLSTEP_WEB "\n  <url type=\"homepage\">${QUILLSTEP_HOMEPAGE}</url>")
    endif()
    if(QUILLSTEP_SCREENSHOTS)
        string(APPEND QUILLSTEP_WEB "
  <screenshots>
    <screenshot type=\"default\">
      <caption>The dashboard with the applications and web sites used most today</caption>
      <image type=\"source\">${QUILLSTEP_SCREENSHOTS}/dashboard.png</image>
    </screenshot>
    <screenshot>
      <caption>The settings: how often to upload, and whether to start at login</caption>
      <image type=\"source\">${QUILLSTEP_SCREENSHOTS}/settings.png</image>
    </screenshot>
  </screenshots>")
    endif()
    foreach(kind IN ITEMS desktop service metainfo.xml)
        configure_file("${templates}/${QUILLSTEP_CFBundleIdentifier}.${kind}.in" "${output}/${QUILLSTEP_CFBundleIdentifier}.${kind}" @ONLY)
    endforeach()
endfunction()
