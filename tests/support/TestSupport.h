// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/LogDirectory_p.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>

/** The messages that `action` raises, each as "type|file|line|function|text" with the type's number. */
template <typename Action> QStringList messagesOf(const Action &action)
{
    static QStringList messages;
    messages.clear();
    const auto former = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &at, const QString &text) {
        messages.append(QString::asprintf("%d|%s|%d|%s|", type, at.file, at.line, at.function) + text);
    });
    action();
    qInstallMessageHandler(former);
    return messages;
}

/** Removes the log directory of this build, or whatever stands in its place. */
inline bool removeLogDirectory()
{
    const QString path = logDirectory().chopped(1);
    return QFileInfo(path).isDir() ? QDir(path).removeRecursively() : !QFile::exists(path) || QFile::remove(path);
}

/** The "*.log" names in a directory, sorted. */
inline QStringList logNames(const QString &directory = logDirectory())
{
    return QDir(directory).entryList({QStringLiteral("*.log")}, QDir::Files, QDir::Name);
}

inline QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** The contents of all log files, one after the other in the order of their names. */
inline QByteArray writtenLogs()
{
    QByteArray result;
    const QStringList names = logNames();
    for (const QString &name : names)
        result += fileContents(logDirectory() + name);
    return result;
}

/** Makes an empty file whose modification time is `seconds` after the epoch, and its directory. */
inline bool makeFile(const QString &path, qint64 seconds)
{
    QFile file(path);
    const timespec times[] = {{static_cast<time_t>(seconds), 0}, {static_cast<time_t>(seconds), 0}};
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && ::futimens(file.handle(), times) == 0;
}

/** Makes `count` empty logs of the year 2020, each a second newer than the one before; their names in that order. */
inline QStringList makeLogs(int count, const QString &directory = logDirectory())
{
    QStringList names;
    for (int number = 0; number < count; ++number) {
        names.append(QStringLiteral("log-2020-01-01_00-00-%1.log").arg(number, 2, 10, QLatin1Char('0')));
        if (!makeFile(directory + names.constLast(), 1577836800 + number))
            return {};
    }
    return names;
}
