// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/LogDirectory_p.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <csignal>

#include <sys/resource.h>

/** Bytes at which this build's library replaces a log file. */
constexpr qint64 kFileSizeLimit = BRINDLECAST_FILE_SIZE_LIMIT;

/** Log files that the guard of this build's library keeps. */
constexpr int kFilesKept = BRINDLECAST_FILES_KEPT;

/** "text"_q is a QString. */
inline QString operator""_q(const char *text, std::size_t size)
{
    return QString::fromUtf8(text, static_cast<int>(size));
}

/** Keeps the messages raised during its life as "type file:line function: text", one recorder at a time. */
struct Recorder
{
    Recorder() { messages().clear(); }
    ~Recorder() { qInstallMessageHandler(formerHandler); }
    Q_DISABLE_COPY(Recorder)

    static QStringList &messages()
    {
        static QStringList recorded;
        return recorded;
    }
    static void record(QtMsgType type, const QMessageLogContext &at, const QString &text)
    {
        messages().append(QString::asprintf("%d %s:%d %s: ", type, at.file, at.line, at.function) + text);
    }

    const QtMessageHandler formerHandler = qInstallMessageHandler(record);
};

/** A time zone whose clock goes from 3:00 back to 2:00 at 1:00 UTC on 25 October 2026, for its life. */
struct RepeatedHour
{
    RepeatedHour() { qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3"); }
    ~RepeatedHour() { formerZone.isNull() ? qunsetenv("TZ") : qputenv("TZ", formerZone); }
    Q_DISABLE_COPY(RepeatedHour)

    /** Minutes around the change: at(-10) is 2:50 summer time, at(10) is 2:10 winter time. */
    static QDateTime at(int minutes) { return QDateTime({2026, 10, 25}, {1, 0}, Qt::UTC).addSecs(minutes * 60LL); }

    const QByteArray formerZone = qgetenv("TZ");
};

/** Makes a file of `size` bytes, which take no room on the disk, last changed at `time`, and its directory. */
inline bool makeFile(const QString &path, qint64 size = 0, const QDateTime &time = {})
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) && file.resize(size)
        && (!time.isValid() || file.setFileTime(time, QFile::FileModificationTime));
}

/** A time before that of any other file. */
inline QDateTime longAgo()
{
    return QDateTime::fromSecsSinceEpoch(1);
}

/** Makes `count` empty logs of the year 2020, each a second newer than the one before; their names in that order. */
inline QStringList makeLogs(int count, const QString &directory = logDirectory())
{
    QStringList names;
    for (int number = 0; number < count; ++number) {
        names.append("log-2020-01-01_00-00-%1.log"_q.arg(number, 2, 10, QLatin1Char('0')));
        if (!makeFile(directory + names.constLast(), 0, QDateTime::fromSecsSinceEpoch(1577836800 + number)))
            return {};
    }
    return names;
}

inline QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** The "*.log" names in a directory, sorted. */
inline QStringList logNames(const QString &directory = logDirectory())
{
    QStringList names = QDir(directory).entryList(QDir::Files, QDir::Name);
    names.erase(std::remove_if(names.begin(), names.end(), [](const auto &name) { return !name.endsWith(".log"_q); }),
                names.end());
    return names;
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

/** Removes a directory with all that is in it, or a file; whether nothing of that name is left. */
inline bool removeAny(const QString &path)
{
    return QFileInfo(path).isDir() ? QDir(path).removeRecursively() : !QFile::exists(path) || QFile::remove(path);
}

/** Removes the log directory of this build, or whatever stands in its place. */
inline bool removeLogDirectory()
{
    return removeAny(logDirectory().chopped(1));
}

/** Lets this process's files grow to so many bytes and no further, as a full disk does: short writes, then errors. */
inline bool limitFileSize(rlim_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, RLIM_INFINITY};
    return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
}
