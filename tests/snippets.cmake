# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

# Checks that what the documentation shows is what is compiled: a comment "<!-- FILE without its licence header -->" is
# followed by a code block that holds FILE's text.
# Usage: cmake -D ROOT=<project folder> -P snippets.cmake
set(found 0)
foreach(document README.md docs/export-screen.md)
    file(READ ${ROOT}/${document} text)
    string(REGEX MATCHALL "<!-- [^ ]+ without its licence header -->" marks "${text}")
    foreach(mark IN LISTS marks)
        string(REGEX REPLACE "<!-- ([^ ]+) .*" "\\1" source "${mark}")
        file(READ ${ROOT}/${source} code)
        string(REGEX REPLACE "^(// SPDX[^\n]*\n)+\n" "" code "${code}")
        get_filename_component(language ${source} LAST_EXT)
        string(SUBSTRING ${language} 1 -1 language)
        string(FIND "${text}" "${mark}\n```${language}\n${code}```" position)
        if(position EQUAL -1)
            message(SEND_ERROR "${document} does not show ${source} as it is")
        endif()
        math(EXPR found "${found} + 1")
    endforeach()
endforeach()
if(found EQUAL 0)
    message(FATAL_ERROR "no code is marked in the documentation")
endif()
