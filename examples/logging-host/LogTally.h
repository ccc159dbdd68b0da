// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QFileInfoList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

/** Counts the lines of one source file in the log files that a run writes, as they grow. */
class LogTally
{
public:
    /** Counts lines raised in `sourceName`, in those log files of `directory` that are not there yet. */
    LogTally(const QString &directory, const QString &sourceName);

    /** Reads what has been written since the last call. */
    void update();

    /** The lines counted so far. */
    int lines() const { return m_lines; }

    /** The files of this run, oldest first. */
    QFileInfoList files() const;

    /** The last lines counted, three at most. */
    QStringList lastLines() const { return m_lastLines; }

private:
    void count(const QString &line);

    const QString m_directory;
    const QString m_mark;
    QSet<QString> m_filesBefore;
    QMap<QString, qint64> m_readUpTo;
    QStringList m_lastLines;
    int m_lines = 0;
};
