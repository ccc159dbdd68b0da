# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

# brindlecast_number(<variable> <default> <least> <most> <description>): a cache variable that holds a whole number.
function(brindlecast_number variable default least most description)
    set(${variable} ${default} CACHE STRING "${description}")
    set(value "${${variable}}")
    if(NOT value MATCHES "^[1-9][0-9]*$" OR value LESS least OR value GREATER most)
        message(FATAL_ERROR "${variable} must be a whole number from ${least} to ${most}: ${value}")
    endif()
endfunction()
