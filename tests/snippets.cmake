# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

# Checks that what the documentation shows is what is compiled. A code block after a comment "<!-- FILE -->" is a part of
# FILE, one after "<!-- FILE without its licence header -->" is all of it.
# Usage: cmake -D ROOT=<project folder> -P snippets.cmake

# Without the characters that would take a CMake list apart.
function(read_text path result)
    file(READ ${path} text)
    foreach(character ";" "[" "]")
        string(HEX "${character}" code)
        string(REPLACE "${character}" "<${code}>" text "${text}")
    endforeach()
    set(${result} "${text}" PARENT_SCOPE)
endfunction()

set(found 0)
set(mark "<!-- ([^ ]+)( without its licence header)? -->\n```[a-z]+\n([^`]*)```")
foreach(document README.md docs/export-screen.md docs/in-your-product.md)
    read_text(${ROOT}/${document} text)
    string(REGEX MATCHALL "${mark}" blocks "${text}")
    foreach(block IN LISTS blocks)
        string(REGEX MATCH "${mark}" block "${block}")
        set(source ${CMAKE_MATCH_1})
        set(is_whole "${CMAKE_MATCH_2}")
        set(shown "${CMAKE_MATCH_3}")
        read_text(${ROOT}/${source} code)
        string(REGEX REPLACE "^(// SPDX[^\n]*\n)+\n" "" code "${code}")
        string(FIND "${code}" "${shown}" position)
        if(position EQUAL -1 OR (is_whole AND NOT shown STREQUAL code))
            message(SEND_ERROR "${document} does not show ${source} as it is:\n${shown}")
        endif()
        math(EXPR found "${found} + 1")
    endforeach()
endforeach()
if(found EQUAL 0)
    message(FATAL_ERROR "no code is marked in the documentation")
endif()
message(STATUS "${found} pieces of code are as compiled")
