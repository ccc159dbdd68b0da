// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QMessageLogContext>
#include <QString>
#include <QtGlobal>

/** Makes the text line of a message. All of it may be called by any thread at any time of the process. */
namespace LogLine {

/** Lets Qt set its date formatting up; to be called before two threads can make their first lines together. */
void prepare();

/** The line of a message raised now, with its line feed. */
QString make(QtMsgType type, const QMessageLogContext &context, const QString &msg);

} // namespace LogLine
