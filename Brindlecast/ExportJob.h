// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

#include <QObject>
#include <QScopedPointer>
#include <QStringList>
#include <QVariantList>
#include <QVector>

class ExportJobPrivate;

/**
 * Copies a list of files to a folder, typically a memory stick, and says when the stick may be removed.
 *
 * @code
 * QStringList paths;
 * logs.getSelectedLogs(paths);
 * connect(&job, &ExportJob::stateChanged, this, [this] { label->setVisible(job.safeToRemove()); });
 * job.start(paths, QStringLiteral("/media/usb0"));
 * @endcode
 *
 * One job at a time; the object can be used again after each. The work is done on a thread of its own, without any
 * other program, in this order:
 *  1. the logger's lines are handed to the operating system, so that the newest ones are in the copy;
 *  2. the destination is checked: it must exist, be writable and have space for all files. Incomplete copies that an
 *     interrupted export left there are removed;
 *  3. each file is copied under a temporary name, "brindlecast-" with sixteen hexadecimal digits and ".part", brought
 * to the medium (`fsync`) and only then given its name. After a failure the incomplete copy is removed;
 *  4. the folder and then its whole file system are synced. safeToRemove() becomes true when each of these steps
 *     reported no error, and the medium is still there and not read-only.
 *
 * **Nothing is overwritten.** When something at the destination has the name already, even a link that leads nowhere,
 * the copy is called "<name>-2", "<name>-3" and so on. No link in the destination is followed. Several jobs, also of
 * several processes, may copy to one folder at a time.
 *
 * **The destination is never created**: a missing folder means that no stick is mounted. A folder that takes its place
 * while files are copied (the empty mount point below a stick that was pulled out) is noticed too. The caller
 * must know that a folder is the mount point of a stick, and not an empty folder of the device.
 *
 * **Only files are copied,** and the files that links lead to. The copy of a log that grows holds what the log held
 * when the job began; a file that has taken a log's place since is copied whole. Whoever may read the original may read
 * the copy, as far as the umask allows; only its owner may write to it.
 *
 * Thread safety: reentrant. The object lives on one thread with an event loop, usually the user interface's; all
 * signals are sent there, and a slot may delete the object. Relative paths count from the process's working directory
 * at start(). The destructor ends a running job, removes its incomplete copy and syncs nothing. It waits for the
 * current block, but at most a second. A thread that is blocked in a call to a dying stick ends by itself later.
 */
class BRINDLECAST_EXPORT ExportJob : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ExportJob)
    /** How far the job is. */
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    /** Whether a job is running. */
    Q_PROPERTY(bool active READ isActive NOTIFY stateChanged)
    /** Whether the running job was cancelled. */
    Q_PROPERTY(bool cancelling READ isCancelling NOTIFY stateChanged)
    /** How the finished job ended. */
    Q_PROPERTY(Outcome outcome READ outcome NOTIFY stateChanged)
    /** Whether everything has reached the medium. @sa safeToRemove() */
    Q_PROPERTY(bool safeToRemove READ safeToRemove NOTIFY stateChanged)
    /** The files of the job. */
    Q_PROPERTY(int fileCount READ fileCount NOTIFY progressChanged)
    /** Files copied or failed so far. */
    Q_PROPERTY(int filesDone READ filesDone NOTIFY progressChanged)
    /** Name of the file being copied. */
    Q_PROPERTY(QString currentFile READ currentFile NOTIFY progressChanged)
    /** Bytes copied or given up so far. */
    Q_PROPERTY(qint64 bytesDone READ bytesDone NOTIFY progressChanged)
    /** Bytes of all files. */
    Q_PROPERTY(qint64 bytesTotal READ bytesTotal NOTIFY progressChanged)
    /** The files copied by the finished job. */
    Q_PROPERTY(int copiedCount READ copiedCount NOTIFY stateChanged)
    /** Bytes that the copies take at the destination; -1 while unknown. */
    Q_PROPERTY(qint64 bytesNeeded READ bytesNeeded NOTIFY stateChanged)
    /** Bytes free at the destination when the job began; -1 while unknown. */
    Q_PROPERTY(qint64 bytesFree READ bytesFree NOTIFY stateChanged)
    /** The result of each file. @sa resultList() */
    Q_PROPERTY(QVariantList results READ resultList NOTIFY stateChanged)

public:
    /** How far a job is. */
    enum class State {
        Idle, ///< no job since construction or dismiss()
        Preparing, ///< flushing the log and checking the destination
        Copying, ///< one file after the other
        Syncing, ///< all copies are written, the stick may still be busy
        Finished ///< until dismiss(), or the next job
    };
    Q_ENUM(State)

    /** How a job ended, or one of its files. */
    enum class Outcome {
        Copied, ///< complete at the destination; for the job: every file, and synced
        Cancelled, ///< not copied because cancel() came first
        DestinationGone, ///< the folder is not there, or another one has taken its place
        DestinationReadOnly, ///< the folder can't be written to
        DestinationFull, ///< not enough space
        SourceGone, ///< the file no longer exists
        CopyFailed, ///< could not be read or written
        NotSynced, ///< job only: copied, but the file system reported an error when it wrote the copies to the medium
        NotAFile, ///< a folder, a pipe or a device, which is not copied
        FileTooLarge ///< the destination's file system can't hold files of this size
    };
    Q_ENUM(Outcome)

    /** The result of one file. */
    struct FileResult
    {
        QString name; ///< the file's name in its own folder
        QString savedAs; ///< its name at the destination; empty unless it was copied
        Outcome outcome; ///< Copied, or why it was not
        QString reason; ///< why it was not copied, for a person to read; empty when it was
    };

    /** Makes an idle job. `parent` may be null. */
    explicit ExportJob(QObject *parent = nullptr);
    ~ExportJob() override;

    /**
     * Starts to copy `files` (paths) to the folder `destination`. Returns false, and does nothing, while a job is
     * active, when `files` is empty, and when the system has no thread left. outcome() says what went wrong later.
     */
    bool start(const QStringList &files, const QString &destination);

    /** Ends the job before the next block, or after the sync of the current file. Finished copies stay and are synced.
     */
    Q_INVOKABLE void cancel();

    /** Forgets a finished job: back to State::Idle. */
    Q_INVOKABLE void dismiss();

    /** How far the job is. */
    State state() const;
    /** Whether a job is running. */
    bool isActive() const;
    /** Whether the running job was cancelled. */
    bool isCancelling() const;

    /** How the finished job ended. Meaningful in State::Finished only. */
    Outcome outcome() const;
    /**
     * True when the job is finished and everything it wrote has reached the destination's medium. Always false once the
     * medium has reported an error (EIO, EROFS), because that may concern earlier copies too.
     */
    bool safeToRemove() const;

    /** The number of files given to start(). */
    int fileCount() const;
    /** Files copied or failed so far. */
    int filesDone() const;
    /** Name of the file being copied. */
    QString currentFile() const;

    /**
     * Bytes copied or given up so far, those of the current file included; 0 until that is known. A file that could not
     * be copied counts with its whole size.
     */
    qint64 bytesDone() const;
    /** Bytes of all files; 0 until that is known. */
    qint64 bytesTotal() const;

    /** The files copied by the finished job. */
    int copiedCount() const;
    /** Bytes that the copies take at the destination; -1 while unknown. */
    qint64 bytesNeeded() const;
    /** Bytes free at the destination when the job began; -1 while unknown. */
    qint64 bytesFree() const;

    /** One result per file, in the order given to start(); empty until the job is finished. */
    QVector<FileResult> results() const;
    /** The same for QML: objects with the members name, savedAs, outcome and reason. */
    QVariantList resultList() const;

Q_SIGNALS:
    /** Sent whenever the state changes, and when a running job is cancelled. */
    void stateChanged();
    /** Sent ten times a second at most while the job runs, and at its start and end. */
    void progressChanged();

protected:
    /** Takes the progress over from the job's thread. */
    void timerEvent(QTimerEvent *event) override;

private Q_SLOTS:
    void onRunChanged();

private:
    void takeProgress(bool emitsProgress);

    const QScopedPointer<ExportJobPrivate> d_ptr;
};
