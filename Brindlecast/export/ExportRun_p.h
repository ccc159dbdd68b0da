// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/ExportJob.h>

#include <QByteArray>
#include <QMutex>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QWaitCondition>

#include <atomic>
#include <utility>

#include <sys/stat.h>

class ExportFolder;

/**
 * One export, done on a thread of its own, which shares this object with the job that started it.
 *
 * The thread may outlive the job: a system call that a dying stick holds up can't be ended by anybody. Both sides may
 * call everything here but for the constructor.
 */
class ExportRun
{
public:
    using State = ExportJob::State;
    using Outcome = ExportJob::Outcome;

    struct Progress
    {
        State state = State::Preparing;
        int filesDone = 0;
        QString currentFile;
        qint64 bytesDone = 0;
        qint64 bytesTotal = 0;
    };

    struct Report
    {
        Outcome outcome = Outcome::Copied;
        bool isSynced = false;
        qint64 bytesNeeded = -1;
        qint64 bytesFree = -1;
        QVector<ExportJob::FileResult> files;
    };

    /**
     * Starts to copy `files` to the folder `destination`. The slot onRunChanged() of `job` is called through its
     * thread's event loop at every change of state. Null when there is no thread to be had.
     */
    static QSharedPointer<ExportRun> start(const QStringList &files, const QString &destination, ExportJob *job);

    /** Use start(). */
    ExportRun(const QStringList &files, const QString &destination, ExportJob *job);
    Q_DISABLE_COPY(ExportRun)

    Progress progress() const;
    /** To be read once the state is State::Finished. */
    const Report &report() const { return m_report; }

    /** Ends the copying at the next block, and syncs what was copied before. */
    void cancel();
    bool isCancelled() const { return m_isCancelled.load(); }

    /** Ends all work, because the job is being destroyed. Waits for the block in hand, for a second at most. */
    void abandon();

private:
    struct Source
    {
        QByteArray path;
        QString name;
        qint64 size = -1; // when the export began: a log that grows is copied up to here; -1 for one not there then
        std::pair<dev_t, ino_t> identity; // at that time, too
    };

    void work();
    bool flushLog() const;
    void copyAll();
    bool prepare(const ExportFolder &folder);
    void copyFile(const Source &source, const ExportFolder &folder);
    void finishFile(const Source &source, Outcome outcome, const QString &reason, const QString &savedAs = {});
    /** Gives the current file up because of an `error` of the destination. */
    void failForDestination(const Source &source, int error);
    void giveUp(Outcome outcome);
    void giveUp(Outcome outcome, const QString &reason);
    void sync(const ExportFolder &folder);

    void enter(State state);
    void showBytes(qint64 bytesDone);

    QVector<Source> m_sources;
    const QByteArray m_destination;
    std::atomic_bool m_isCancelled{false};
    std::atomic_bool m_isAbandoned{false};
    // Of the thread alone until it has finished.
    Report m_report;
    bool m_isGivenUp = false;
    qint64 m_bytesBefore = 0; // of the files before the current one

    mutable QMutex m_mutex;
    QWaitCondition m_finished;
    // protected by m_mutex:
    ExportJob *m_job;
    Progress m_progress;
};
