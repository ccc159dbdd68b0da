// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QMessageLogContext>
#include <QString>
#include <QStringView>
#include <QVarLengthArray>
#include <QtGlobal>

/** The log line of a message raised now. Any thread may make one, also while the process exits. */
class LogLine
{
public:
    LogLine(QtMsgType type, const QMessageLogContext &context, const QString &msg);
    Q_DISABLE_COPY(LogLine)

    /** The line, its line feed, and a second line feed for the empty line that follows each. */
    QStringView textToWrite() const { return {m_text.constData(), m_text.size()}; }

private:
    // Lines of usual length need no allocation.
    QVarLengthArray<ushort, 512> m_text;
};
