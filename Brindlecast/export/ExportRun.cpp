// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ExportRun_p.h"

#include "ExportFolder_p.h"
#include "FileCopy_p.h"
#include "PartFile_p.h"

#include <Brindlecast/QtDebugLogger.h>
#include <Brindlecast/RegularFile_p.h>

#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>

#include <pthread.h>
#include <sys/stat.h>

using namespace std::chrono_literals;

namespace {

using Outcome = ExportJob::Outcome;

constexpr auto kFlushLimit = 3s;
constexpr int kFlushSliceMs = 100;
constexpr auto kPatienceOfDestructor = 1s;

QString reasonFor(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Cancelled:
        return ExportJob::tr("The export was cancelled.");
    case Outcome::DestinationGone:
        return ExportJob::tr("The destination is no longer there.");
    case Outcome::DestinationReadOnly:
        return ExportJob::tr("The destination can't be written to.");
    case Outcome::DestinationFull:
        return ExportJob::tr("The destination is full.");
    case Outcome::SourceGone:
        return ExportJob::tr("The log no longer exists.");
    case Outcome::NotAFile:
        return ExportJob::tr("This is a folder, a pipe or a device.");
    case Outcome::FileTooLarge:
        return ExportJob::tr("The destination's file system can't hold so large a file.");
    case Outcome::Copied:
    case Outcome::CopyFailed:
    case Outcome::NotSynced:
        break;
    }
    return {};
}

Outcome outcomeForDestination(int error)
{
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return Outcome::DestinationFull;
    case EROFS:
    case EACCES:
    case EPERM:
        return Outcome::DestinationReadOnly;
    case EFBIG:
        return Outcome::FileTooLarge;
    case ECANCELED:
        return Outcome::Cancelled;
    default:
        return Outcome::CopyFailed;
    }
}

QString reasonForDestination(int error)
{
    switch (error) {
    case ENAMETOOLONG:
        return ExportJob::tr("The destination does not take this name.");
    case ESTALE:
        return ExportJob::tr("Another program changed the copy.");
    default:
        return ExportJob::tr("Writing the copy failed: %1").arg(qt_error_string(error));
    }
}

QString reasonForSource(int error)
{
    return ExportJob::tr("Reading the log failed: %1").arg(qt_error_string(error));
}

// Who may read the original may read the copy; only the owner may write to it.
mode_t permissionsFor(mode_t source)
{
    return (source & (S_IRUSR | S_IRGRP | S_IROTH)) | S_IRUSR | S_IWUSR;
}

QByteArray encodedPath(const QString &path)
{
    // The system would read the path up to a NUL only.
    return path.isEmpty() || path.contains(QChar(QChar::Null))
        ? QByteArray()
        : QFile::encodeName(QDir::current().absoluteFilePath(path));
}

// Whether the file system can't hold the name: the errors for that differ. No other cause is likely, because it has
// just accepted the temporary name.
bool isAboutName(int error)
{
    return error == EINVAL || error == EILSEQ || error == ENOENT || error == EACCES || error == EPERM;
}

bool hasCopies(const QVector<ExportJob::FileResult> &files)
{
    return std::any_of(files.cbegin(), files.cend(),
                       [](const ExportJob::FileResult &file) { return file.outcome == Outcome::Copied; });
}

} // namespace

QSharedPointer<ExportRun> ExportRun::start(const QStringList &files, const QString &destination, ExportJob *job)
{
    QtDebugLogger::getInstance(); // Made here, because it would live on the export's thread if that called this first.
    auto run = QSharedPointer<ExportRun>::create(files, destination, job);
    auto forThread = std::make_unique<QSharedPointer<ExportRun>>(run);
    const auto begin = [](void *argument) -> void * {
        const std::unique_ptr<QSharedPointer<ExportRun>> shared(static_cast<QSharedPointer<ExportRun> *>(argument));
        (*shared)->work();
        return nullptr;
    };
    // Not a QThread, which must not be destroyed before its thread has ended.
    pthread_t thread = {};
    const int error = ::pthread_create(&thread, nullptr, begin, forThread.get());
    if (error != 0) {
        qWarning() << "No thread for the export:" << qt_error_string(error);
        return {};
    }
    static_cast<void>(forThread.release()); // The thread deletes it.
    ::pthread_detach(thread);
    return run;
}

ExportRun::ExportRun(const QStringList &files, const QString &destination, ExportJob *job)
    : m_destination(encodedPath(destination))
    , m_job(job)
{
    for (const QString &file : files)
        m_sources.append({encodedPath(file), QFileInfo(file).fileName(), -1, {}});
}

ExportRun::Progress ExportRun::progress() const
{
    const QMutexLocker lock(&m_mutex);
    return m_progress;
}

void ExportRun::cancel()
{
    m_isCancelled.store(true);
}

void ExportRun::abandon()
{
    const QMutexLocker lock(&m_mutex);
    m_job = nullptr;
    m_isAbandoned.store(true);
    m_isCancelled.store(true);
    const QDeadlineTimer patience(kPatienceOfDestructor);
    while (m_progress.state != State::Finished && m_finished.wait(&m_mutex, patience)) { }
}

void ExportRun::work()
{
    ::pthread_setname_np(::pthread_self(), "exportThread");
    // Only the host's handlers of crash signals run here. SIGXFSZ is blocked too, so a file larger than the process may
    // write is an error like any other.
    sigset_t signals;
    ::sigfillset(&signals);
    for (const int crash : {SIGSEGV, SIGBUS, SIGFPE, SIGILL})
        ::sigdelset(&signals, crash);
    ::pthread_sigmask(SIG_SETMASK, &signals, nullptr);

    copyAll();
    enter(State::Finished);
}

bool ExportRun::flushLog() const
{
    const QDeadlineTimer limit(kFlushLimit);
    bool isServing = true;
    while (isServing && !limit.hasExpired() && !isCancelled()) {
        const QDeadlineTimer slice(kFlushSliceMs);
        if (QtDebugLogger::getInstance()->flush(kFlushSliceMs))
            return true;
        isServing = slice.hasExpired();
    }
    return false;
}

void ExportRun::copyAll()
{
    if (!flushLog())
        qDebug() << "Exporting without the newest log lines: the log is off or its disk is stalled";

    const ExportFolder folder(m_destination);
    if (!prepare(folder))
        return;

    enter(State::Copying);
    for (const Source &source : qAsConst(m_sources)) {
        if (isCancelled())
            giveUp(Outcome::Cancelled);
        else if (!folder.isHere())
            giveUp(Outcome::DestinationGone);
        if (m_isGivenUp)
            break;
        {
            const QMutexLocker lock(&m_mutex);
            m_progress.currentFile = source.name;
        }
        copyFile(source, folder);
    }

    if (m_report.outcome != Outcome::DestinationGone)
        sync(folder);
}

bool ExportRun::prepare(const ExportFolder &folder)
{
    const int error = folder.openError();
    if (error == EMFILE || error == ENFILE || error == ENOMEM) {
        giveUp(Outcome::CopyFailed, reasonForDestination(error));
        return false;
    }
    if (error == EACCES) {
        giveUp(Outcome::DestinationReadOnly);
        return false;
    }
    if (!folder.isHere()) {
        giveUp(Outcome::DestinationGone);
        return false;
    }
    if (folder.isReadOnly()) {
        giveUp(Outcome::DestinationReadOnly);
        return false;
    }
    folder.removeLeftovers([this] { return !isCancelled(); });

    m_report.bytesNeeded = 0;
    qint64 total = 0;
    for (Source &source : m_sources) {
        struct stat status = {};
        if (source.path.isEmpty() || ::stat(source.path.constData(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        source.size = status.st_size;
        source.identity = {status.st_dev, status.st_ino};
        total += source.size;
        m_report.bytesNeeded += folder.sizeOnDisk(source.size);
    }
    {
        const QMutexLocker lock(&m_mutex);
        m_progress.bytesTotal = total;
    }
    m_report.bytesFree = folder.bytesFree();
    if (m_report.bytesFree >= 0 && m_report.bytesFree < m_report.bytesNeeded) {
        giveUp(Outcome::DestinationFull);
        return false;
    }
    return true;
}

void ExportRun::copyFile(const Source &source, const ExportFolder &folder)
{
    // A link is copied as the file it leads to, because few sticks can hold links.
    const RegularFile file(source.path);
    switch (file.state()) {
    case RegularFile::State::Open:
        break;
    case RegularFile::State::Missing:
        finishFile(source, Outcome::SourceGone, reasonFor(Outcome::SourceGone));
        return;
    case RegularFile::State::OfOtherKind:
        finishFile(source, Outcome::NotAFile, reasonFor(Outcome::NotAFile));
        return;
    case RegularFile::State::Unreadable:
        finishFile(source, Outcome::CopyFailed, reasonForSource(file.error()));
        return;
    }

    const qint64 counted = qMax(source.size, qint64{0});
    const qint64 size = file.identity() == source.identity ? source.size : file.size();
    PartFile part(folder, permissionsFor(file.mode()));
    int error = part.creationError();
    FileCopy copy;
    if (error == 0) {
        copy = FileCopy::run(file.descriptor(), part.descriptor(), size, [this, counted](qint64 done) {
            showBytes(m_bytesBefore + qMin(done, counted));
            return !isCancelled();
        });
    }

    switch (copy.ending) {
    case FileCopy::Complete:
        if (error == 0)
            error = part.sync();
        if (error == 0) {
            error = part.publish(QFile::encodeName(source.name), [this] { return !isCancelled(); });
            error = isAboutName(error) ? ENAMETOOLONG : error;
        }
        break;
    case FileCopy::Stopped:
        error = ECANCELED;
        break;
    case FileCopy::SourceEnded:
        finishFile(source, Outcome::CopyFailed, ExportJob::tr("The log became shorter while it was copied."));
        return;
    case FileCopy::SourceFailed:
        finishFile(source, Outcome::CopyFailed, reasonForSource(copy.error));
        return;
    case FileCopy::TargetFailed:
        error = copy.error;
        break;
    }
    if (!folder.isHere())
        giveUp(Outcome::DestinationGone);
    else if (error != 0)
        failForDestination(source, error);
    else
        finishFile(source, Outcome::Copied, QString(), QFile::decodeName(part.publishedName()));
}

void ExportRun::failForDestination(const Source &source, int error)
{
    // Such an error may also concern what was written before.
    m_hasMediumFailed = m_hasMediumFailed || error == EIO || error == EROFS;
    const Outcome outcome = outcomeForDestination(error);
    if (outcome == Outcome::CopyFailed)
        finishFile(source, outcome, reasonForDestination(error));
    else if (outcome == Outcome::FileTooLarge)
        finishFile(source, outcome, reasonFor(outcome));
    else
        giveUp(outcome);
}

void ExportRun::finishFile(const Source &source, Outcome outcome, const QString &reason, const QString &savedAs)
{
    if (outcome != Outcome::Copied)
        m_report.outcome = outcome;
    m_report.files.append({source.name, savedAs, outcome, reason});
    m_bytesBefore += qMax(source.size, qint64{0});
    const QMutexLocker lock(&m_mutex);
    m_progress.bytesDone = m_bytesBefore;
    m_progress.filesDone = static_cast<int>(m_report.files.size());
}

// Ends the job; the files not yet copied get its outcome.
void ExportRun::giveUp(Outcome outcome)
{
    giveUp(outcome, reasonFor(outcome));
}

void ExportRun::giveUp(Outcome outcome, const QString &reason)
{
    m_isGivenUp = true;
    m_report.outcome = outcome;
    for (auto i = m_report.files.size(); i < m_sources.size(); ++i)
        m_report.files.append({m_sources.at(i).name, QString(), outcome, reason});
}

void ExportRun::sync(const ExportFolder &folder)
{
    if (m_isAbandoned.load())
        return;
    enter(State::Syncing);
    const bool isSynced = folder.sync() && !m_hasMediumFailed;
    m_report.isSynced = isSynced && !folder.isReadOnly() && folder.isHere();
    if (!m_report.isSynced && !folder.isHere())
        m_report.outcome = Outcome::DestinationGone;
    else if (!m_report.isSynced && hasCopies(m_report.files))
        m_report.outcome = Outcome::NotSynced;
}

void ExportRun::enter(State state)
{
    const QMutexLocker lock(&m_mutex);
    m_progress.state = state;
    if (state == State::Syncing || state == State::Finished)
        m_progress.currentFile.clear();
    if (m_job)
        QMetaObject::invokeMethod(m_job, "onRunChanged", Qt::QueuedConnection);
    if (state == State::Finished)
        m_finished.wakeAll();
}

void ExportRun::showBytes(qint64 bytesDone)
{
    const QMutexLocker lock(&m_mutex);
    m_progress.bytesDone = bytesDone;
}
