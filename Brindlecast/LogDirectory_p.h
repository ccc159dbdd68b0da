// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/** The directory of all log files, with a trailing slash. Its root is chosen when the library is built. */
inline QString logDirectory()
{
    return QStringLiteral(BRINDLECAST_LOG_DIRECTORY);
}
