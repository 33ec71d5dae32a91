# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# The values of an XML property list as variables, such as QUILLSTEP_CFBundleIdentifier. There is nothing to read
# property lists with in CMake, and building needs no Python: the file is held to the form below instead.

# quillstep_read_plist(FILE) sets QUILLSTEP_<key> for each key that packaging needs, and QUILLSTEP_URL_SCHEME.
function(quillstep_read_plist file)
    if(NOT EXISTS "${file}")
        message(FATAL_ERROR "${file} is missing: it names the application")
    endif()
    file(READ "${file}" text)
    string(REGEX REPLACE "<!--([^-]|-[^-])*-->" "" text "${text}")
    set(ws "[ \t\r\n]*")
    set(key "<key>[A-Za-z]+</key>${ws}")
    set(string "<string>[^<>&;]*</string>${ws}")
    set(strings "<array>${ws}(${string})*</array>${ws}")
    set(entries "<array>${ws}(<dict>${ws}(${key}(${string}|${strings}))*</dict>${ws})*</array>${ws}")
    set(flag "<(true|false)/>${ws}")
    if(NOT text MATCHES
       "^<[?]xml [^<>]*[?]>${ws}(<!DOCTYPE plist [^<>]*>${ws})?<plist version=\"1.0\">${ws}<dict>${ws}(${key}(${string}|${flag}|${entries}))+</dict>${ws}</plist>${ws}$")
        message(FATAL_ERROR
            "${file} is malformed: a property list with strings, <true/>, <false/> and arrays of dictionaries is expected, "
            "each after its <key>, without entities")
    endif()
    foreach(name IN ITEMS CFBundleDisplayName CFBundleExecutable CFBundleIdentifier CFBundleName CFBundlePackageType
            CFBundleShortVersionString CFBundleURLName CFBundleVersion LSMinimumSystemVersion NSPrincipalClass)
        quillstep_plist_value("${name}" "<string>([^<]+)</string>")
        set("QUILLSTEP_${name}" "${value}" PARENT_SCOPE)
    endforeach()
    foreach(name IN ITEMS LSUIElement NSHighResolutionCapable)
        quillstep_plist_value("${name}" "<(true|false)/>")
        set("QUILLSTEP_${name}" "${value}" PARENT_SCOPE)
    endforeach()
    quillstep_plist_value(CFBundleURLSchemes "<array>${ws}<string>([a-z][a-z0-9+.-]*)</string>${ws}</array>")
    set(QUILLSTEP_URL_SCHEME "${value}" PARENT_SCOPE)
endfunction()

# Sets `value` to what `pattern` captures after the key `name` in `text`; both belong to the function above.
macro(quillstep_plist_value name pattern)
    string(REGEX MATCHALL "<key>${name}</key>" occurrences "${text}")
    list(LENGTH occurrences count)
    if(count EQUAL 0)
        message(FATAL_ERROR "${file} has no ${name}")
    elseif(count GREATER 1)
        message(FATAL_ERROR "${file} has ${name} more than once")
    elseif(NOT text MATCHES "<key>${name}</key>${ws}${pattern}")
        message(FATAL_ERROR "${file}: ${name} is empty or of the wrong type")
    endif()
    set(value "${CMAKE_MATCH_1}")
endmacro()
