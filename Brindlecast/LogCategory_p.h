// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

/** The log categories that mean something to the library; a host gives the others a meaning. */
namespace LogCategory {

constexpr unsigned long kMessage = 1; ///< Every Qt message.
constexpr unsigned long kStartup = 4; ///< Its file has a name of its own and is never replaced.
constexpr unsigned long kAll = 127;

} // namespace LogCategory
