// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

/**
 * The class that gives the library its name.
 *
 * It does nothing: a host or a loader can construct it to see that the library is there and can be linked.
 *
 * Thread safety: reentrant.
 */
class BRINDLECAST_EXPORT Brindlecast
{
public:
    /** Constructs the stub; it holds nothing. */
    Brindlecast();
};
