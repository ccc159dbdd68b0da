# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

# brindlecast_target_settings(<target>): the compiler and Qt settings that every target of this project shares.
# Warnings become errors through CMAKE_COMPILE_WARNING_AS_ERROR, which the presets set.
function(brindlecast_target_settings target)
    set_target_properties(${target} PROPERTIES
        AUTOMOC ON
        CXX_STANDARD 17
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
    )
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
        -Wnon-virtual-dtor -Woverloaded-virtual -Wzero-as-null-pointer-constant
        # So that diagnostics name their source by its path below the project's root.
        "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/="
    )
    target_compile_definitions(${target} PRIVATE
        # Sizes and file offsets have 64 bits on 32-bit devices too.
        _FILE_OFFSET_BITS=64
        QT_MESSAGELOGCONTEXT
        QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING
        QT_NO_KEYWORDS QT_NO_FOREACH QT_STRICT_ITERATORS QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
        QT_DISABLE_DEPRECATED_BEFORE=0x050c00
    )
endfunction()
