// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

#include <QObject>
#include <QStringList>
#include <QThread>
#include <QVariantList>
#include <QVector>

#include <atomic>
#include <memory>
#include <mutex>

/**
 * Copies a list of files to a folder, typically a memory stick, and tells when the stick may be removed.
 *
 * One job at a time; the object can be
 * used again after each. The work is done on a thread of its own, in this order:
 *  1. the logger's lines are handed to the operating system, so that the newest ones are in the copy;
 *  2. the destination is checked: there, writable, enough space for all files;
 *  3. each file is copied under the name "<name>.part" and renamed when it is complete. A name that is taken is never
 *     overwritten: the copy is called "<name>-2" and so on. After a failure the incomplete copy is removed;
 *  4. the destination's file system is synced. Only then safeToRemove() becomes true.
 *
 * The destination is never created: a missing folder means that no stick is mounted. A folder that takes its place
 * while files are copied (the empty mount point below a stick that was pulled out) is noticed too.
 *
 * Lives on one thread, usually the user interface's; all signals are sent there. The destructor cancels a running job
 * and waits for the file in hand.
 */
class BRINDLECAST_EXPORT ExportJob : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ExportJob)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(bool active READ isActive NOTIFY stateChanged)
    Q_PROPERTY(bool cancelling READ isCancelling NOTIFY stateChanged)
    Q_PROPERTY(Outcome outcome READ outcome NOTIFY stateChanged)
    Q_PROPERTY(bool safeToRemove READ safeToRemove NOTIFY stateChanged)
    Q_PROPERTY(int fileCount READ fileCount NOTIFY progressChanged)
    Q_PROPERTY(int filesDone READ filesDone NOTIFY progressChanged)
    Q_PROPERTY(QString currentFile READ currentFile NOTIFY progressChanged)
    Q_PROPERTY(qint64 bytesDone READ bytesDone NOTIFY progressChanged)
    Q_PROPERTY(qint64 bytesTotal READ bytesTotal NOTIFY progressChanged)
    Q_PROPERTY(int copiedCount READ copiedCount NOTIFY stateChanged)
    Q_PROPERTY(qint64 bytesNeeded READ bytesNeeded NOTIFY stateChanged)
    Q_PROPERTY(qint64 bytesFree READ bytesFree NOTIFY stateChanged)
    Q_PROPERTY(QVariantList results READ resultList NOTIFY stateChanged)

public:
    enum class State {
        Idle, ///< no job since construction or dismiss()
        Preparing, ///< flushing the log and checking the destination
        Copying,
        Syncing, ///< all copies are written, the stick may still be busy
        Finished
    };
    Q_ENUM(State)

    /** What became of a job as a whole, and of each of its files. */
    enum class Outcome {
        Copied, ///< complete at the destination; for the job: every file, and synced
        Cancelled, ///< not copied because cancel() came first
        DestinationGone, ///< the folder is not there, or another one has taken its place
        DestinationReadOnly, ///< the folder can't be written to
        DestinationFull, ///< not enough space
        SourceGone, ///< the file no longer exists
        CopyFailed, ///< could not be read or written
        NotSynced, ///< job only: copied, but the file system reported an error when it wrote the copies out
        NotAFile, ///< a folder, a pipe or a device, which is not copied
        FileTooLarge ///< the destination's file system knows no files of this size
    };
    Q_ENUM(Outcome)

    struct FileResult
    {
        QString name; ///< the file's name in its own folder
        QString savedAs; ///< its name at the destination; empty unless it was copied
        Outcome outcome;
        QString reason; ///< why it was not copied, for a person to read; empty when it was
    };

    explicit ExportJob(QObject *parent = nullptr);
    ~ExportJob() override;

    /**
     * Starts to copy `files` (paths) to the folder `destination`. Returns false, and does nothing, while a job is
     * active and when `files` is empty. What goes wrong later is told by outcome().
     */
    bool start(const QStringList &files, const QString &destination);

    /** Ends the job before its next file. What has been copied stays, and is synced. */
    Q_INVOKABLE void cancel();

    /** Forgets a finished job: back to State::Idle. */
    Q_INVOKABLE void dismiss();

    State state() const { return m_state; }
    bool isActive() const { return m_state != State::Idle && m_state != State::Finished; }
    bool isCancelling() const { return isActive() && m_cancelled; }

    /** Meaningful in State::Finished. */
    Outcome outcome() const { return m_report.outcome; }
    /** True when the job is finished and everything it wrote has reached the destination's medium. */
    bool safeToRemove() const { return m_state == State::Finished && m_report.synced; }

    int fileCount() const { return m_fileCount; }
    int filesDone() const { return m_filesDone; }
    /** Name of the file being copied. */
    QString currentFile() const { return m_currentFile; }

    /**
     * Bytes of the files dealt with so far, the part of the file in hand included, and of all files; both 0 until that
     * is known. A file that could not be copied counts with its whole size.
     */
    qint64 bytesDone() const { return m_bytesDone; }
    qint64 bytesTotal() const { return m_bytesTotal; }

    /** The files copied by the finished job. */
    int copiedCount() const;
    /** Bytes that the files take at the destination, and those free there when the job began; -1 while unknown. */
    qint64 bytesNeeded() const { return m_report.bytesNeeded; }
    qint64 bytesFree() const { return m_report.bytesFree; }

    /** One result per file, in the order given to start(); empty until the job is finished. */
    QVector<FileResult> results() const { return m_report.files; }
    /** The same for QML: objects with the members name, savedAs, outcome and reason. */
    QVariantList resultList() const;

Q_SIGNALS:
    void stateChanged();
    /** Sent ten times a second at most. */
    void progressChanged();
    /** From the job's own thread to its owner's. */
    void progressReported(QPrivateSignal);

private:
    struct Progress
    {
        State state = State::Idle;
        int filesDone = 0;
        QString currentFile;
        qint64 bytesDone = 0;
        qint64 bytesTotal = 0;
    };
    struct Report
    {
        Outcome outcome = Outcome::Copied;
        bool synced = false;
        qint64 bytesNeeded = -1;
        qint64 bytesFree = -1;
        QVector<FileResult> files;
    };

    // On the job's own thread.
    Report work(const QStringList &files, const QString &destination);
    void report(const Progress &progress);

    void takeProgress();
    void finish();

    State m_state = State::Idle;
    int m_fileCount = 0;
    int m_filesDone = 0;
    QString m_currentFile;
    qint64 m_bytesDone = 0;
    qint64 m_bytesTotal = 0;
    Report m_report;
    std::atomic_bool m_cancelled{false};
    std::mutex m_progressMutex;
    // protected by m_progressMutex:
    Progress m_progress;
    // written by the job's thread, read when that has ended:
    Report m_finalReport;
    std::unique_ptr<QThread> m_thread;
};
