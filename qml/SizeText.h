// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QLocale>
#include <QString>

/** A number of bytes as a text such as "1.3 MB", in units of 1024 and in the form of the locale; empty if negative. */
inline QString sizeText(qint64 bytes)
{
    if (bytes < 0)
        return {};
    // Tenths of a byte or KB would be noise beside sizes in MB and GB.
    const int decimals = bytes < 1024LL * 1024 ? 0 : 1;
    return QLocale()
        .formattedDataSize(bytes, decimals, QLocale::DataSizeTraditionalFormat)
        .replace(QLatin1String("kB"), QLatin1String("KB"));
}
