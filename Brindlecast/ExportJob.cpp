// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ExportJob.h"

#include "ExportRun_p.h"

#include <QBasicTimer>
#include <QDebug>
#include <QPointer>
#include <QTimerEvent>
#include <QVariantMap>

#include <algorithm>

namespace {

constexpr int kProgressIntervalMs = 100;

} // namespace

struct ExportJob::Private
{
    State state = State::Idle;
    std::shared_ptr<ExportRun> run; // of the job under way, or the one that finished
    int fileCount = 0;
    ExportRun::Progress progress;
    ExportRun::Report report;
    QBasicTimer progressTimer;
};

ExportJob::ExportJob(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
}

ExportJob::~ExportJob()
{
    if (isActive())
        d->run->abandon();
}

bool ExportJob::start(const QStringList &files, const QString &destination)
{
    if (isActive() || files.isEmpty())
        return false;
    auto run = ExportRun::start(files, destination, this);
    if (!run)
        return false;

    d->run = std::move(run);
    d->fileCount = files.size();
    d->progress = {};
    d->report = {};
    d->state = State::Preparing;
    d->progressTimer.start(kProgressIntervalMs, this);
    const QPointer<ExportJob> guard(this);
    Q_EMIT progressChanged();
    if (guard)
        Q_EMIT stateChanged();
    return true;
}

void ExportJob::cancel()
{
    if (!isActive() || d->run->isCancelled())
        return;
    d->run->cancel();
    Q_EMIT stateChanged();
}

void ExportJob::dismiss()
{
    if (d->state != State::Finished)
        return;
    d->report = {};
    d->state = State::Idle;
    Q_EMIT stateChanged();
}

ExportJob::State ExportJob::state() const
{
    return d->state;
}

bool ExportJob::isActive() const
{
    return d->state != State::Idle && d->state != State::Finished;
}

bool ExportJob::isCancelling() const
{
    return isActive() && d->run->isCancelled();
}

ExportJob::Outcome ExportJob::outcome() const
{
    return d->report.outcome;
}

bool ExportJob::safeToRemove() const
{
    return d->report.isSynced;
}

int ExportJob::fileCount() const
{
    return d->fileCount;
}

int ExportJob::filesDone() const
{
    return d->progress.filesDone;
}

QString ExportJob::currentFile() const
{
    return d->progress.currentFile;
}

qint64 ExportJob::bytesDone() const
{
    return d->progress.bytesDone;
}

qint64 ExportJob::bytesTotal() const
{
    return d->progress.bytesTotal;
}

int ExportJob::copiedCount() const
{
    const QVector<FileResult> &files = d->report.files;
    return static_cast<int>(std::count_if(files.cbegin(), files.cend(), [](const FileResult &file) {
        return file.outcome == Outcome::Copied;
    }));
}

qint64 ExportJob::bytesNeeded() const
{
    return d->report.bytesNeeded;
}

qint64 ExportJob::bytesFree() const
{
    return d->report.bytesFree;
}

QVector<ExportJob::FileResult> ExportJob::results() const
{
    return d->report.files;
}

QVariantList ExportJob::resultList() const
{
    QVariantList list;
    for (const FileResult &file : qAsConst(d->report.files))
        list.append(QVariantMap{{QStringLiteral("name"), file.name},
                                {QStringLiteral("savedAs"), file.savedAs},
                                {QStringLiteral("outcome"), static_cast<int>(file.outcome)},
                                {QStringLiteral("reason"), file.reason}});
    return list;
}

void ExportJob::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == d->progressTimer.timerId())
        takeProgress(true);
    else
        QObject::timerEvent(event);
}

void ExportJob::followRun()
{
    if (isActive())
        takeProgress(false);
}

void ExportJob::takeProgress(bool isTold)
{
    d->progress = d->run->progress();
    const bool isNew = d->state != d->progress.state;
    const bool isFinished = d->progress.state == State::Finished;
    d->state = d->progress.state;
    if (isFinished) {
        d->progressTimer.stop();
        d->report = d->run->report();
        qInfo() << "Export finished:" << copiedCount() << "of" << d->fileCount << "files copied," << d->report.outcome;
    }
    const QPointer<ExportJob> guard(this);
    if (isTold || isFinished)
        Q_EMIT progressChanged();
    if (isNew && guard)
        Q_EMIT stateChanged();
}
