# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# The password and the token travel to this address: plain http is for the same machine only.
function(quillstep_check_service_url url)
    if(NOT url MATCHES "^https://[^/?#@]+$" AND
       NOT url MATCHES "^http://(127\\.[0-9]+\\.[0-9]+\\.[0-9]+|localhost|\\[::1\\])(:[0-9]+)?$")
        message(FATAL_ERROR
            "QUILLSTEP_SERVICE_URL is \"${url}\". Give scheme, host and optional port without a slash at the end: "
            "https://HOST[:PORT], or http:// for a loopback address.")
    endif()
endfunction()
