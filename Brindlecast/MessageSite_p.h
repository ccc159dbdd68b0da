// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDebug>
#include <QMessageLogger>

/**
 * The place that a diagnostic names.
 *
 * Support staff search logs by source line and function signature, so both are data, given where the message is
 * raised, and stay what they are when code moves or another compiler spells a signature differently.
 */
struct MessageSite
{
    const char *file;
    int line;
    const char *function;

    QDebug debug() const { return QMessageLogger(file, line, function).debug(); }
    QDebug info() const { return QMessageLogger(file, line, function).info(); }
    QDebug warning() const { return QMessageLogger(file, line, function).warning(); }
    QDebug critical() const { return QMessageLogger(file, line, function).critical(); }
};
