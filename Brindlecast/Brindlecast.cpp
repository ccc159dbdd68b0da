// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "Brindlecast.h"

Brindlecast::Brindlecast() = default;
