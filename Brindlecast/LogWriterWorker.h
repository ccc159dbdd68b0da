// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/DiskChecker.h>
#include <Brindlecast/FileIOObject.h>
#include <Brindlecast/brindlecast_export.h>

#include <QDateTime>
#include <QDeadlineTimer>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <atomic>

enum class EntryFate : int;
class LogQueue;
class QDate;
class QueuedEntries;

/**
 * Does all the file work of the logger: keeps one open log file per category and appends each request's lines to it.
 *
 * Files lie in the log directory and are named by the local time at which they were begun:
 *
 * | Category | File name                           | A new file is begun                        |
 * |----------|-------------------------------------|--------------------------------------------|
 * | 4        | log-startup2024-03-05_14-07-09.log  | after a clear only                         |
 * | others   | log-2024-03-05_14-07-09.log         | after a clear, and once it holds its limit |
 *
 * The limit is a constant of the built library: BRINDLECAST_FILE_SIZE_LIMIT, 52428800 bytes by default.
 *
 * Two categories that begin a file in the same second share it. A category that is cleared and begins again in the same
 * second continues its file.
 *
 * When a file with a new name has been opened and its first lines are written, the worker's space guard removes all but
 * the newest log files of the directory, ten by default (see DiskChecker). It counts all categories together, so one
 * that fills files quickly costs the others theirs. A category whose open file was removed begins a new one at its next
 * line. The guard does not change the current working directory.
 *
 * When a file can't be opened, the lines of its category are dropped until the next clear.
 *
 * Ownership: made without a parent and held by a LogWriterWorkerPointer.
 *
 * Thread safety: not thread-safe; after construction all operations run on the thread that the object lives on, the
 * logger's writer thread.
 */
class BRINDLECAST_EXPORT LogWriterWorker : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LogWriterWorker)

public:
    /** Creates the log directory if it is missing and configures the space guard for it. */
    explicit LogWriterWorker(QObject *parent);

public Q_SLOTS:
    /**
     * Writes the lines of one request to its category's log file, and begins that file if need be.
     *
     * A null request is ignored. If the file can't be opened, the lines are dropped.
     */
    void onHandleIO(const FileIOObjectPointer &pobj);

    /** Writes out and closes every open file; the next request of a category begins a new one. */
    void onClearData();

protected:
    /**
     * The full path of a log file begun now for the category `categories`; never empty.
     *
     * Creates the log directory if it is missing.
     */
    QString makeLogFilePath(unsigned long categories);

    /** Whether both dates are the same day of the same month and year. Reserved; the library does not call it. */
    bool isSameDay(const QDate &lastModifiedTime, const QDate &curTime);

private:
    friend class LogWriterThread;
    friend class WriterEventDispatcher;
    friend class QtDebugLogger;

    enum class Activity {
        None,
        Guarding, ///< Open files may have been removed. Lines raised meanwhile are written afterwards.
        Writing ///< A FileIOObject may be half updated. Lines raised meanwhile are written afterwards.
    };

    // A line or a clear raised on the writer thread, which writes it as soon as it is at rest.
    struct Deferred
    {
        bool isClear;
        unsigned long category;
        QString text;
        bool isUrgent;
    };

    bool isAtRest() const { return m_activity == Activity::None; }
    bool hasBacklog() const;
    bool hasUnwritten() const { return hasBacklog() || !m_deferred.isEmpty(); }
    void setSyncInterval(int ms) { m_syncIntervalMs.store(qMax(ms, 0)); }
    QDeadlineTimer nextSync() const { return m_nextSync; }
    void syncIfDue();
    void resume(LogQueue &queue);
    void writeWaiting(LogQueue &queue);
    bool handOver(LogQueue &queue);
    int writeFront(const QueuedEntries &waiting);
    void setKeeper(LogQueue *queue) { m_keeper = queue; }

    void accept(const Deferred &raised);
    void writeAtOnce(const Deferred &raised);
    void finishUp();
    void writeDeferred();
    void writeSingly(FileIOObject &file, const QByteArray &bytes, int entries);
    void noteWritten(const FileIOObject &file, qint64 bytes);
    bool isToBeSynced() const { return m_syncIntervalMs.load(std::memory_order_relaxed) > 0; }
    void noteUnsynced(FileIOObject &file, bool isUrgent);
    void sync();
    FileIOObject &fileOf(unsigned long category);
    bool prepareFile(FileIOObject &file);
    void nameFile(FileIOObject &file);
    bool takeUpFile(FileIOObject &file);
    void openFile(FileIOObject &file);
    qint64 sizeOf(const FileIOObject &file);
    void clearFiles();
    void guardDirectory();
    void forgetRemovedFiles();

    DiskChecker m_diskChecker;
    QMap<unsigned long, FileIOObjectPointer> m_ioMap;
    QDateTime m_lastModifiedTime; // Reserved; nothing reads it.

    QString m_lastOpenedPath;
    bool m_isCheckDue = false;
    Activity m_activity = Activity::None;
    QList<Deferred> m_deferred;
    bool m_isNewestLineWritten = true;
    EntryFate m_fate{};
    // The file whose size is known, so that the system is asked only once in a round.
    const FileIOObject *m_sizedFile = nullptr;
    qint64 m_size = 0;
    int m_unhandledEntries = 0;
    // The queue, when it keeps lines (keepWaitingLines()); else null.
    LogQueue *m_keeper = nullptr;

    std::atomic<int> m_syncIntervalMs{0};
    QDeadlineTimer m_nextSync{QDeadlineTimer::Forever};
    QDeadlineTimer m_nextUrgentSync;
};

/** How the logger owns its worker. */
using LogWriterWorkerPointer = QSharedPointer<LogWriterWorker>;
