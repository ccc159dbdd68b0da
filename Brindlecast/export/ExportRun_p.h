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
 * One export. The job that starts it and the thread that does the work share this object.
 *
 * The thread may outlive the job, because nobody can end a system call that a dying stick holds up. Both may call all
 * public functions but the constructor.
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
     * Starts to copy `files` to the folder `destination`. At every change of state, the slot onRunChanged() of `job` is
     * called through the event loop of the job's thread. Null when the system has no thread left.
     */
    static QSharedPointer<ExportRun> start(const QStringList &files, const QString &destination, ExportJob *job);

    /** Use start(). */
    ExportRun(const QStringList &files, const QString &destination, ExportJob *job);
    Q_DISABLE_COPY(ExportRun)

    Progress progress() const;
    /** To be read once the state is State::Finished. */
    const Report &report() const { return m_report; }

    /** Ends the copying before the next block, and has the finished copies synced. */
    void cancel();
    bool isCancelled() const { return m_isCancelled.load(); }

    /** Ends all work, because the job is being destroyed. Waits for the current block, but at most a second. */
    void abandon();

private:
    struct Source
    {
        QByteArray path;
        QString name;
        qint64 size = -1; // when the export began; -1 if it was not there; a log that grows is copied up to here
        std::pair<dev_t, ino_t> identity; // when the export began
    };

    void work();
    bool flushLog() const;
    void copyAll();
    bool prepare(const ExportFolder &folder);
    void copyFile(const Source &source, const ExportFolder &folder);
    void finishFile(const Source &source, Outcome outcome, const QString &reason, const QString &savedAs = {});
    /** Gives up the current file, or the whole job, because of an `error` of the destination. */
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
    // Used by the thread alone until State::Finished:
    Report m_report;
    bool m_isGivenUp = false;
    bool m_hasMediumFailed = false;
    qint64 m_bytesBefore = 0; // of the files before the current one

    mutable QMutex m_mutex;
    QWaitCondition m_finished;
    // protected by m_mutex:
    ExportJob *m_job;
    Progress m_progress;
};
