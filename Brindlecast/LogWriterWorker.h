// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/DiskChecker.h>
#include <Brindlecast/FileIOObject.h>
#include <Brindlecast/brindlecast_export.h>

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <atomic>

class QDate;

/**
 * Does all the file work of the logger: keeps one open log file per category and appends each request's lines to it.
 *
 * Files lie in the log directory and are named by the local time at which they were begun:
 *
 * | Category | File name                           | A new file is begun                             |
 * |----------|-------------------------------------|-------------------------------------------------|
 * | 4        | log-startup2024-03-05_14-07-09.log  | after a clear only                              |
 * | others   | log-2024-03-05_14-07-09.log         | after a clear, and once it holds 52428800 bytes |
 *
 * Two categories that begin a file in the same second share it.
 *
 * When a file of a new name has been opened and its first lines are written, the worker's space guard thins the
 * directory out to its ten newest log files. A category whose open file it removed begins a new one at its next line.
 * The guard's change of the working directory is undone after each check.
 *
 * A file that can't be opened silences its category until the next clear.
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
     * Writes the lines of one request to its category's log file, beginning that file if need be.
     *
     * A null request is ignored. Lines that can't be written, since the file can't be opened, are dropped.
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

    /** Whether both dates are the same day of the same month and year. */
    bool isSameDay(const QDate &lastModifiedTime, const QDate &curTime);

private:
    friend class LogWriterThread;
    friend class QtDebugLogger;

    // Any thread:
    void setAccepting(bool isAccepting) { m_isAccepting.store(isAccepting); }
    quint64 handledRequests() const { return m_handledRequests.load(std::memory_order_acquire); }
    bool isLastRequestWritten() const { return m_isLastRequestWritten.load(std::memory_order_relaxed); }

    // While the writer thread is parked or has ended:
    void discardFiles();

    // The writer thread:
    void take(const FileIOObjectPointer &requestOrClear);
    void workOffSetAside();
    void handle(const FileIOObjectPointer &requestOrClear);
    void carryOut(const FileIOObjectPointer &requestOrClear);
    void writeRequest(const FileIOObject &request);
    void clearFiles();
    bool prepareFile(FileIOObject &file);
    void nameFile(FileIOObject &file);
    bool openFile(FileIOObject &file);
    void guardDirectory();
    void forgetRemovedFiles();

    DiskChecker m_diskChecker;
    QMap<unsigned long, FileIOObjectPointer> m_ioMap;
    QDateTime m_lastModifiedTime;

    QString m_lastOpenedPath;
    bool m_isCheckDue = false;
    bool m_isDiscardingFiles = false;
    bool m_isBusy = false;
    // In both lists a null pointer stands for a clear.
    // What is raised on this thread while it is busy, by the guard for one: its turn comes right after.
    QList<FileIOObjectPointer> m_deferred;
    // Requests whose turn came after the thread was told to end.
    QList<FileIOObjectPointer> m_setAside;

    std::atomic<bool> m_isAccepting{true};
    std::atomic<bool> m_isLastRequestWritten{true};
    std::atomic<quint64> m_handledRequests{0};
};

/** The logger's hold on its worker. */
using LogWriterWorkerPointer = QSharedPointer<LogWriterWorker>;
