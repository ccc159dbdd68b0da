// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDateTime>
#include <QFile>
#include <QString>
#include <QStringList>

/** "text"_q is a QString. */
inline QString operator""_q(const char *text, std::size_t size)
{
    return QString::fromUtf8(text, static_cast<int>(size));
}

/** Makes a file of `size` bytes, which take no room on the disk, last changed at `time`. */
inline bool makeSparseFile(const QString &path, qint64 size = 0, const QDateTime &time = {})
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.resize(size)
        && (!time.isValid() || file.setFileTime(time, QFile::FileModificationTime));
}

/** A time zone whose clock goes from 3:00 back to 2:00 at 1:00 UTC on 25 October 2026, for its life. */
struct RepeatedHour
{
    RepeatedHour() { qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3"); }
    ~RepeatedHour() { formerZone.isNull() ? qunsetenv("TZ") : qputenv("TZ", formerZone); }
    Q_DISABLE_COPY(RepeatedHour)

    /** Minutes around the change: at(-10) is 2:50 summer time, at(10) is 2:10 winter time. */
    static QDateTime at(int minutes)
    {
        return QDateTime(QDate(2026, 10, 25), QTime(1, 0), Qt::UTC).addSecs(minutes * 60);
    }

    const QByteArray formerZone = qgetenv("TZ");
};

/** Keeps the messages raised during its life as "file:line function: text", one recorder at a time. */
struct TextRecorder
{
    TextRecorder()
        : formerHandler(qInstallMessageHandler(record))
    {
        texts().clear();
    }
    ~TextRecorder() { qInstallMessageHandler(formerHandler); }
    Q_DISABLE_COPY(TextRecorder)

    static QStringList &texts()
    {
        static QStringList recorded;
        return recorded;
    }
    static void record(QtMsgType, const QMessageLogContext &context, const QString &text)
    {
        texts().append("%1:%2 %3: "_q.arg(QString::fromUtf8(context.file))
                           .arg(context.line)
                           .arg(QString::fromUtf8(context.function))
                       + text);
    }

    const QtMessageHandler formerHandler;
};
