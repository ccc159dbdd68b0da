// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogTally.h"

#include <QDir>
#include <QFile>

LogTally::LogTally(const QString &directory, const QString &sourceName)
    : m_directory(directory)
    , m_mark(QStringLiteral(":> ") + sourceName + QLatin1Char(' '))
{
    const QStringList names = QDir(directory).entryList(QDir::Files);
    m_filesBefore = QSet<QString>(names.cbegin(), names.cend());
}

void LogTally::update()
{
    const QFileInfoList logFiles = files();
    for (const QFileInfo &info : logFiles) {
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        qint64 &readUpTo = m_readUpTo[info.fileName()];
        file.seek(readUpTo);
        for (QByteArray line = file.readLine(); line.endsWith('\n'); line = file.readLine()) {
            readUpTo += line.size();
            count(QString::fromUtf8(line).trimmed());
        }
    }
}

QFileInfoList LogTally::files() const
{
    QFileInfoList logFiles;
    const QFileInfoList entries = QDir(m_directory).entryInfoList({QStringLiteral("*.log")}, QDir::Files, QDir::Name);
    for (const QFileInfo &entry : entries) {
        if (!m_filesBefore.contains(entry.fileName()))
            logFiles.append(entry);
    }
    return logFiles;
}

void LogTally::count(const QString &line)
{
    if (!line.contains(m_mark))
        return;
    ++m_lines;
    m_lastLines.append(line);
    if (m_lastLines.size() > 3)
        m_lastLines.removeFirst();
}
