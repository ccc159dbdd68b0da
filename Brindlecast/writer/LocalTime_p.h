// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <ctime>

/** The current second. Not by time(), which can lag by a tick of the kernel's clock. */
inline std::time_t currentSecond()
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

/**
 * Puts the local time of `secondsSinceEpoch` into `text`, by a format of strftime(); returns its length.
 *
 * Not by QDateTime: Qt makes its calendar at first use, without a lock, and destroys it when the process exits, while
 * threads still log. A change of the time zone takes effect at once, as with QDateTime.
 */
template <std::size_t Size>
std::size_t formatLocalTime(char (&text)[Size], const char *format, std::time_t secondsSinceEpoch)
{
    ::tzset();
    std::tm time = {};
    ::localtime_r(&secondsSinceEpoch, &time);
    return std::strftime(text, Size, format, &time);
}
