// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

/**
 * The space guard of a log directory: keeps its newest log files and tells whether its storage has room.
 *
 * How many it keeps is a constant of the built library: BRINDLECAST_FILES_KEPT, ten by default.
 *
 * "Newest" means last modified; files modified in the same millisecond are ordered by name. The guard knows a file by
 * its base name (up to the first dot) and removes only one that is called by that and ".log". Another file that matches
 * the filter ("a.b.log", "A.LOG") is counted, but never removed, and no other one is removed instead.
 *
 * It reports what it does through Qt's debug messages only.
 *
 * @warning A listing makes the guarded directory the current working directory of the process. Only the logger's own
 * guard leaves that as it is.
 *
 * Thread safety: reentrant; use each object from one thread at a time.
 */
class BRINDLECAST_EXPORT DiskChecker : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(DiskChecker)

public:
    /** Constructs a guard that needs 104857600 free bytes and has no directory, filter or current file yet. */
    explicit DiskChecker(QObject *parent);

    /** Sets the guarded directory: an absolute path that ends with "/". */
    void setDir(const QString &dirpatch) { m_dirPath = dirpatch; }

    /** Sets the free space, in bytes, that decides the result of checkDisk(). */
    void setNeededSpace(qint64 size) { m_freeSpaceSize = size; }

    /** Adds a wildcard pattern, such as "*.log", of names that may be listed and removed. */
    void appendFileFilter(const QString &filter) { m_filter.append(filter); }

    /** Sets the full path of the one file that is never removed: the one being written. */
    void setCurrentLogFile(const QString &path) { m_currentUsedLogFile = path; }

    /**
     * Lists the directory, removes all but the newest files, and repeats that until nothing is removed, at most ten
     * times.
     *
     * How many files are removed depends on their number alone; free space decides only the result.
     *
     * @return whether at least the needed space is then free; false also when the directory's storage is unknown.
     */
    bool checkDisk();

protected:
    /** Whether less than `maxsize` bytes are available to the process's user, or the storage is unknown. */
    bool isDiskFull(quint64 maxsize);

    /** Makes the directory the current one and lists it anew. */
    void listDir();

    /** Removes the last listing's files beyond the newest, oldest first; true when at least one was removed. */
    bool removeOldestFile();

    /** Lists the directory, then returns removeOldestFile(). */
    bool updateFolder();

private:
    QString m_dirPath;
    qint64 m_freeSpaceSize;
    QStringList m_filter;
    QStringList m_dirList;
    QString m_currentUsedLogFile;

    friend class LogWriterWorker;

    // For each base name in m_dirList whose file NAME.log was listed: how many other files of the same base name
    // ("a.b.log" beside "a.log") are older. Their turn to be removed comes before that of NAME.log.
    QHash<QString, int> m_olderNamesakes;
    // Set for the logger's own guard, because the current directory belongs to the host.
    bool m_keepsCurrentDirectory = false;
};
