// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

#include <QFile>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

class LogQueue;

/** How far the writer has come with a category's log file. */
enum FileIOState {
    eIONONE, ///< A new object, or the file could not be opened.
    eIOREADYTOINIT, ///< The file has no name yet.
    eIOREADYTOOPEN, ///< The file has a name, but is not open yet.
    eIOREADYTOWRITE, ///< The file is open; lines can be written.
    eIOREADYTOREMOVE ///< Reserved; nothing sets or handles it.
};

/**
 * Either a write request on its way to the writer thread, or, on that thread, one category's log file.
 *
 * As a request only `category` and `contentList` are used. As a log file it opens, writes and closes; its owner
 * (LogWriterWorker) chooses the name, sets the state and decides when to begin another file.
 *
 * Lines are written in whole batches. When the disk is full, a batch that was written in part is cut off the file
 * again. It waits in memory, in the backlog, and is written before anything newer once there is space. When the backlog
 * would exceed 64 KiB, newer batches are dropped, but a single batch is kept whatever its size.
 *
 * Ownership: made without a parent and held by a FileIOObjectPointer from the start.
 *
 * Thread safety: reentrant. One thread fills a request and then hands it on; after that it is only read. A log file is
 * used on the writer thread only.
 */
class BRINDLECAST_EXPORT FileIOObject : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(FileIOObject)

public:
    /** Constructs an object of category 1 with an empty path, no lines, a closed file and the state eIONONE. */
    explicit FileIOObject(QObject *parent);

    /**
     * Opens `path` for appending. Creates the file when it is missing, and never truncates it.
     *
     * A file that is still open is written out and closed first, as closeFile() does.
     *
     * @return whether the file is open; on failure (an empty path, a missing folder) the lines stay in `contentList`.
     */
    bool openFile();

    /**
     * Appends every entry of `contentList`, each followed by one line feed, to the open file, as UTF-8 without a
     * byte-order mark, and hands it to the operating system. Nothing is synced to storage.
     *
     * `contentList` is left as it is: a second call without clearing it writes the same lines again.
     *
     * @return true when there were lines and the file is open, also if the disk refused them (see hasBacklog());
     * false otherwise, with nothing written.
     */
    bool writeFile();

    /** Writes what is waiting and closes the file; does nothing, and keeps the lines, when the file is not open. */
    void closeFile();

    /** Whether lines that writeFile() took still wait for the disk to accept them. */
    bool hasBacklog() const { return !m_backlog.isEmpty(); }

    /** Full path of the log file that openFile() opens. */
    QString path;
    /** The log file. */
    QFile myfile;
    /** The lines waiting to be written, in order. */
    QStringList contentList;
    /** The owner's progress with this file; the object itself never changes it. */
    FileIOState state = eIONONE;
    /** The log category: one of 1, 2, 4, 8, 16, 32 and 64. */
    unsigned long category = 1;

private:
    friend class LogQueue;
    friend class LogWriterWorker;
    friend class QtDebugLogger;

    enum class Outcome { Written, Waiting, Dropped };

    QString textToWrite() const;
    Outcome writeBatch(const QByteArray &batch, qint64 begin);
    bool writeBacklog();
    void settleBacklog();
    bool writeWhole(const QByteArray &batch, qint64 begin);
    bool append(const QByteArray &batch, qint64 begin);
    bool isCutOff() const { return !m_inWrite.isEmpty(); }
    bool settleCutWrite();
    qint64 end() const;
    void sync();

    QByteArray m_backlog;
    // What is being written, and where. If the thread is cancelled in it, settleCutWrite() compares the file with it.
    QByteArray m_inWrite;
    qint64 m_begin = 0;
    bool m_isBacklogInWrite = false;
    // How many entries of the queue m_inWrite holds; 0 for what was raised on the writer thread.
    int m_entries = 0;
    // The queue, when it keeps lines (keepWaitingLines()); else null.
    LogQueue *m_keeper = nullptr;
    // Whether the queue has refused this request, because it was not open.
    bool m_isRefused = false;
    // Whether this request is to be brought to storage at once.
    bool m_isUrgent = false;

    // What sync() has to bring to storage: lines, and the file's name, which may be new.
    bool m_isUnsynced = false;
    bool m_isNameUnsynced = false;
};

/** How a FileIOObject is owned; the name of its type in queued connections. */
using FileIOObjectPointer = QSharedPointer<FileIOObject>;
