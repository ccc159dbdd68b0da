// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ExportJob.h"

#include "export/ExportRun_p.h"

#include <QBasicTimer>
#include <QDebug>
#include <QPointer>
#include <QTimerEvent>
#include <QVariantMap>

#include <algorithm>

namespace {

// Together with the signals at start and end, at most ten in any second.
constexpr int kProgressIntervalMs = 125;

} // namespace

class ExportJobPrivate
{
public:
    using State = ExportJob::State;

    void clear(State newState)
    {
        report = {};
        state = newState;
    }

    State state = State::Idle;
    QSharedPointer<ExportRun> run; // of the running job, or of the last one
    int fileCount = 0;
    ExportRun::Progress progress;
    ExportRun::Report report;
    QBasicTimer progressTimer;
};

ExportJob::ExportJob(QObject *parent)
    : QObject(parent)
    , d_ptr(new ExportJobPrivate)
{
}

ExportJob::~ExportJob()
{
    if (isActive())
        d_ptr->run->abandon();
}

bool ExportJob::start(const QStringList &files, const QString &destination)
{
    if (isActive() || files.isEmpty())
        return false;
    auto run = ExportRun::start(files, destination, this);
    if (!run)
        return false;

    d_ptr->run = std::move(run);
    d_ptr->fileCount = static_cast<int>(files.size());
    d_ptr->progress = {};
    d_ptr->clear(State::Preparing);
    d_ptr->progressTimer.start(kProgressIntervalMs, this);
    const QPointer<ExportJob> guard(this);
    Q_EMIT progressChanged();
    if (!guard.isNull())
        Q_EMIT stateChanged();
    return true;
}

void ExportJob::cancel()
{
    if (!isActive() || d_ptr->run->isCancelled())
        return;
    d_ptr->run->cancel();
    Q_EMIT stateChanged();
}

void ExportJob::dismiss()
{
    if (d_ptr->state != State::Finished)
        return;
    d_ptr->clear(State::Idle);
    Q_EMIT stateChanged();
}

ExportJob::State ExportJob::state() const
{
    return d_ptr->state;
}

bool ExportJob::isActive() const
{
    return d_ptr->state != State::Idle && d_ptr->state != State::Finished;
}

bool ExportJob::isCancelling() const
{
    return isActive() && d_ptr->run->isCancelled();
}

ExportJob::Outcome ExportJob::outcome() const
{
    return d_ptr->report.outcome;
}

bool ExportJob::safeToRemove() const
{
    return d_ptr->report.isSynced;
}

int ExportJob::fileCount() const
{
    return d_ptr->fileCount;
}

int ExportJob::filesDone() const
{
    return d_ptr->progress.filesDone;
}

QString ExportJob::currentFile() const
{
    return d_ptr->progress.currentFile;
}

qint64 ExportJob::bytesDone() const
{
    return d_ptr->progress.bytesDone;
}

qint64 ExportJob::bytesTotal() const
{
    return d_ptr->progress.bytesTotal;
}

int ExportJob::copiedCount() const
{
    const QVector<FileResult> &files = d_ptr->report.files;
    return static_cast<int>(std::count_if(files.cbegin(), files.cend(),
                                          [](const FileResult &file) { return file.outcome == Outcome::Copied; }));
}

qint64 ExportJob::bytesNeeded() const
{
    return d_ptr->report.bytesNeeded;
}

qint64 ExportJob::bytesFree() const
{
    return d_ptr->report.bytesFree;
}

QVector<ExportJob::FileResult> ExportJob::results() const
{
    return d_ptr->report.files;
}

QVariantList ExportJob::resultList() const
{
    QVariantList list;
    for (const FileResult &file : qAsConst(d_ptr->report.files)) {
        QVariantMap entry;
        entry.insert(QStringLiteral("name"), file.name);
        entry.insert(QStringLiteral("savedAs"), file.savedAs);
        entry.insert(QStringLiteral("outcome"), static_cast<int>(file.outcome));
        entry.insert(QStringLiteral("reason"), file.reason);
        list.append(entry);
    }
    return list;
}

void ExportJob::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == d_ptr->progressTimer.timerId())
        takeProgress(true);
    else
        QObject::timerEvent(event);
}

void ExportJob::onRunChanged()
{
    if (isActive())
        takeProgress(false);
}

void ExportJob::takeProgress(bool emitsProgress)
{
    d_ptr->progress = d_ptr->run->progress();
    const bool isNew = d_ptr->state != d_ptr->progress.state;
    const bool isFinished = d_ptr->progress.state == State::Finished;
    d_ptr->state = d_ptr->progress.state;
    if (isFinished) {
        d_ptr->progressTimer.stop();
        d_ptr->report = d_ptr->run->report();
        qInfo() << "Export finished:" << copiedCount() << "of" << d_ptr->fileCount << "files copied,"
                << d_ptr->report.outcome;
    }
    const QPointer<ExportJob> guard(this);
    if (emitsProgress || isFinished)
        Q_EMIT progressChanged();
    if (isNew && !guard.isNull())
        Q_EMIT stateChanged();
}
