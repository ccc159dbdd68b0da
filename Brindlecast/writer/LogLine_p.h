// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QMessageLogContext>
#include <QString>
#include <QStringView>
#include <QVarLengthArray>
#include <QtGlobal>

/** The line of a message that is raised now. Any thread may make one, at any time of the process. */
class LogLine
{
public:
    LogLine(QtMsgType type, const QMessageLogContext &context, const QString &msg);
    Q_DISABLE_COPY(LogLine)

    /** The line, which ends in a line feed, and one more: the empty line after it. */
    QStringView textToWrite() const { return {m_text.constData(), m_text.size()}; }

private:
    // Lines of usual length need no allocation.
    QVarLengthArray<ushort, 512> m_text;
};
