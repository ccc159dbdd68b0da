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
    eIONONE, ///< Nothing prepared, or the file could not be named or opened.
    eIOREADYTOINIT, ///< A new entry; its file name is still to be made.
    eIOREADYTOOPEN, ///< The file name is made; the file is still to be opened.
    eIOREADYTOWRITE, ///< The file is open; lines can be written.
    eIOREADYTOREMOVE ///< Reserved; nothing sets or handles it.
};

/**
 * A write request on its way to the writer thread and, kept there, the handle of one category's log file.
 *
 * As a request only `category` and `contentList` are used. As a log file it opens, writes and closes; names, states
 * and the moment to begin another file are up to its owner (LogWriterWorker).
 *
 * What reaches the file are whole batches of lines. When the disk is full, a batch that was written in part is taken
 * back, kept in memory and written before anything newer once there is space; past 64 KiB of such a backlog newer
 * batches are dropped. A single batch is kept whatever its size.
 *
 * Ownership: made without a parent and held by a FileIOObjectPointer from the start.
 *
 * Thread safety: reentrant. A request is filled by one thread and only read after it was handed on; a log file is used
 * on the writer thread only.
 */
class BRINDLECAST_EXPORT FileIOObject : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(FileIOObject)

public:
    /** Constructs an object of category 1 with an empty path, no lines, a closed file and the state eIONONE. */
    explicit FileIOObject(QObject *parent);

    /**
     * Opens `path` for appending, creating the file when it is missing and never truncating it.
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
    // What is being written, and where: should the thread be cut off in it, the file tells how far it came.
    QByteArray m_inWrite;
    qint64 m_begin = 0;
    bool m_isBacklogInWrite = false;
    // How many entries of the queue that is.
    int m_entries = 0;
    // Where lines are kept until they are in the file, if they are.
    LogQueue *m_keeper = nullptr;
    // Whether this request came when the logger's queue was closed.
    bool m_isRefused = false;
    // Whether this request is to be brought to storage at once.
    bool m_isUrgent = false;

    // What is to be brought to storage: lines, and the name of a file that may be new.
    bool m_isUnsynced = false;
    bool m_isNameUnsynced = false;
};

/** The hold on a FileIOObject; queued connections carry it under this name. */
using FileIOObjectPointer = QSharedPointer<FileIOObject>;
