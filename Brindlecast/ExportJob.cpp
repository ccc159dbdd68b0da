// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ExportJob.h"

#include "DiskSpaceChecker.h"
#include "DocumentUtils.h"
#include "QtDebugLogger.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QVariantMap>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

namespace {

using Outcome = ExportJob::Outcome;

constexpr int kFlushTimeoutMs = 3000;

/**
 * The destination folder, kept open for as long as the job runs.
 *
 * The open descriptor keeps the stick from being unmounted in between and collects the write errors that syncfs()
 * reports. All work is done through it too: when the stick is pulled out, its path may lead to the empty mount point
 * on the device's own disk, and copies must not end up there.
 */
class Destination
{
public:
    explicit Destination(const QString &path)
        : m_path(QDir(path).absolutePath())
        , m_fd(path.isEmpty() ? -1 : ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
    }
    ~Destination()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Q_DISABLE_COPY(Destination)

    /** A path to `name` in the opened folder, good for child processes too. */
    QString pathOf(const QString &name = QString()) const
    {
        return QStringLiteral("/proc/%1/fd/%2/").arg(::getpid()).arg(m_fd) + name;
    }

    /** True while the path still leads to the folder that was opened. */
    bool isHere() const
    {
        struct stat opened = {};
        struct stat found = {};
        return m_fd >= 0 && ::fstat(m_fd, &opened) == 0 && ::stat(QFile::encodeName(m_path).constData(), &found) == 0
            && opened.st_dev == found.st_dev && opened.st_ino == found.st_ino;
    }
    bool isWritable() const { return ::faccessat(m_fd, ".", W_OK, 0) == 0; }
    qint64 bytesFree() const { return DiskSpaceChecker(nullptr).getFreeDisk(m_path); }

    /** True when a file of `size` bytes doesn't fit. FAT knows no number of files, and gives it as 0. */
    bool isFullFor(qint64 size) const
    {
        struct statvfs disk = {};
        if (::fstatvfs(m_fd, &disk) != 0)
            return false;
        return disk.f_bavail * disk.f_frsize < static_cast<quint64>(size) || (disk.f_files > 0 && disk.f_favail == 0);
    }

    /** `size` as the file system counts it, in whole blocks. */
    qint64 sizeOnDisk(qint64 size) const
    {
        struct statvfs disk = {};
        const qint64 block = ::fstatvfs(m_fd, &disk) == 0 ? qMax(qint64(disk.f_frsize), qint64(1)) : 1;
        return (size + block - 1) / block * block;
    }

    bool sync() const { return ::syncfs(m_fd) == 0; }

    /** `name`, or the first of name-2, name-3 and so on that is not taken. */
    QString freeName(const QString &name) const
    {
        const QFileInfo info(name);
        const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
        QString candidate = name;
        for (int i = 2; QFileInfo::exists(pathOf(candidate)); ++i)
            candidate = QStringLiteral("%1-%2%3").arg(info.completeBaseName()).arg(i).arg(suffix);
        return candidate;
    }

private:
    const QString m_path;
    const int m_fd;
};

QString reasonFor(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Copied:
        break;
    case Outcome::Cancelled:
        return ExportJob::tr("The export was cancelled.");
    case Outcome::DestinationGone:
        return ExportJob::tr("The destination is no longer there.");
    case Outcome::DestinationReadOnly:
        return ExportJob::tr("The destination can't be written to.");
    case Outcome::DestinationFull:
        return ExportJob::tr("The destination is full.");
    case Outcome::SourceGone:
        return ExportJob::tr("The file no longer exists.");
    case Outcome::CopyFailed:
        return ExportJob::tr("The file could not be read or written.");
    case Outcome::NotSynced:
        return ExportJob::tr("The destination reported an error.");
    case Outcome::NotAFile:
        return ExportJob::tr("It is not a file.");
    case Outcome::FileTooLarge:
        return ExportJob::tr("The file is too large for the destination's file system.");
    }
    return {};
}

ExportJob::FileResult copyFile(const QString &file, const Destination &destination)
{
    const QFileInfo info(file);
    ExportJob::FileResult result{info.fileName(), QString(), Outcome::Copied, QString()};

    // A link is copied as the file it leads to; few sticks know links.
    const QString source = info.canonicalFilePath();
    if (source.isEmpty()) {
        result.outcome = Outcome::SourceGone;
        return result;
    }

    const qint64 size = QFileInfo(source).size();
    const QString name = destination.freeName(info.fileName());
    const QString part = name + QStringLiteral(".part");
    const bool copied = DocumentUtils(nullptr).copyFileOrDir(source, destination.pathOf(), part) == 1
        // The log in use may have grown meanwhile, but a shorter copy is a torn one.
        && QFileInfo(destination.pathOf(part)).size() >= size
        && QFile::rename(destination.pathOf(part), destination.pathOf(name)) && destination.isHere();
    if (copied) {
        result.savedAs = name;
        return result;
    }

    const bool full = destination.isFullFor(size);
    QFile::remove(destination.pathOf(part));
    if (!destination.isHere())
        result.outcome = Outcome::DestinationGone;
    else if (!destination.isWritable())
        result.outcome = Outcome::DestinationReadOnly;
    else if (full)
        result.outcome = Outcome::DestinationFull;
    else
        result.outcome = QFileInfo::exists(source) ? Outcome::CopyFailed : Outcome::SourceGone;
    return result;
}

int countCopied(const QVector<ExportJob::FileResult> &files)
{
    return static_cast<int>(std::count_if(files.cbegin(), files.cend(), [](const ExportJob::FileResult &file) {
        return file.outcome == Outcome::Copied;
    }));
}

} // namespace

ExportJob::ExportJob(QObject *parent)
    : QObject(parent)
{
    connect(this, &ExportJob::progressReported, this, &ExportJob::takeProgress, Qt::QueuedConnection);
}

ExportJob::~ExportJob()
{
    m_cancelled = true;
    if (m_thread)
        m_thread->wait();
}

bool ExportJob::start(const QStringList &files, const QString &destination)
{
    if (isActive() || files.isEmpty())
        return false;

    m_cancelled = false;
    m_report = Report();
    m_fileCount = files.size();
    m_filesDone = 0;
    m_currentFile.clear();
    m_bytesDone = 0;
    m_bytesTotal = 0;
    m_state = State::Preparing;

    m_thread.reset(QThread::create([this, files, destination] { m_finalReport = work(files, destination); }));
    connect(m_thread.get(), &QThread::finished, this, &ExportJob::finish);
    m_thread->setObjectName(QStringLiteral("exportThread"));
    m_thread->start();

    Q_EMIT progressChanged();
    Q_EMIT stateChanged();
    return true;
}

void ExportJob::cancel()
{
    if (!isActive() || m_cancelled)
        return;
    m_cancelled = true;
    Q_EMIT stateChanged();
}

void ExportJob::dismiss()
{
    if (m_state != State::Finished)
        return;
    m_report = Report();
    m_state = State::Idle;
    Q_EMIT stateChanged();
}

int ExportJob::copiedCount() const
{
    return countCopied(m_report.files);
}

QVariantList ExportJob::resultList() const
{
    QVariantList list;
    for (const FileResult &file : m_report.files)
        list.append(QVariantMap{{QStringLiteral("name"), file.name},
                                {QStringLiteral("savedAs"), file.savedAs},
                                {QStringLiteral("outcome"), static_cast<int>(file.outcome)},
                                {QStringLiteral("reason"), file.reason}});
    return list;
}

ExportJob::Report ExportJob::work(const QStringList &files, const QString &destinationPath)
{
    Report result;
    // Ends the job: the files not yet tried share the job's outcome.
    const auto giveUp = [&result, &files](Outcome outcome) {
        result.outcome = outcome;
        for (int i = result.files.size(); i < files.size(); ++i)
            result.files.append({QFileInfo(files.at(i)).fileName(), QString(), outcome, reasonFor(outcome)});
    };

    if (!QtDebugLogger::getInstance()->flush(kFlushTimeoutMs))
        qDebug() << "Exporting without the newest log lines: the log is off or its disk is stalled";

    const Destination destination(destinationPath);
    if (!destination.isHere()) {
        giveUp(Outcome::DestinationGone);
        return result;
    }
    if (!destination.isWritable()) {
        giveUp(Outcome::DestinationReadOnly);
        return result;
    }
    result.bytesNeeded = 0;
    Progress progress;
    for (const QString &file : files) {
        const qint64 size = QFileInfo(file).size();
        progress.bytesTotal += size;
        result.bytesNeeded += destination.sizeOnDisk(size);
    }
    result.bytesFree = destination.bytesFree();
    if (result.bytesFree < result.bytesNeeded) {
        giveUp(result.bytesFree < 0 ? Outcome::DestinationGone : Outcome::DestinationFull);
        return result;
    }

    while (result.files.size() < files.size()) {
        const QString &file = files.at(result.files.size());
        progress.state = State::Copying;
        progress.filesDone = result.files.size();
        progress.currentFile = QFileInfo(file).fileName();
        report(progress);
        if (m_cancelled) {
            giveUp(Outcome::Cancelled);
        } else if (!destination.isHere()) {
            giveUp(Outcome::DestinationGone);
        } else {
            const qint64 size = QFileInfo(file).size();
            FileResult copy = copyFile(file, destination);
            copy.reason = reasonFor(copy.outcome);
            progress.bytesDone = qMin(progress.bytesDone + size, progress.bytesTotal);
            result.files.append(copy);
            if (copy.outcome == Outcome::CopyFailed || copy.outcome == Outcome::SourceGone)
                result.outcome = copy.outcome;
            else if (copy.outcome != Outcome::Copied)
                giveUp(copy.outcome);
        }
    }

    if (result.outcome != Outcome::DestinationGone) {
        progress.state = State::Syncing;
        progress.filesDone = countCopied(result.files);
        progress.currentFile.clear();
        report(progress);
        result.synced = destination.sync() && destination.isHere();
        if (!result.synced)
            result.outcome = destination.isHere() ? Outcome::NotSynced : Outcome::DestinationGone;
    }
    return result;
}

void ExportJob::report(const Progress &progress)
{
    {
        const std::lock_guard<std::mutex> lock(m_progressMutex);
        m_progress = progress;
    }
    Q_EMIT progressReported({});
}

void ExportJob::takeProgress()
{
    Progress progress;
    {
        const std::lock_guard<std::mutex> lock(m_progressMutex);
        progress = m_progress;
    }
    m_filesDone = progress.filesDone;
    m_currentFile = progress.currentFile;
    m_bytesDone = progress.bytesDone;
    m_bytesTotal = progress.bytesTotal;
    Q_EMIT progressChanged();
    if (m_state != progress.state) {
        m_state = progress.state;
        Q_EMIT stateChanged();
    }
}

void ExportJob::finish()
{
    m_thread->wait();
    m_report = m_finalReport;
    m_state = State::Finished;
    qInfo() << "Export finished:" << copiedCount() << "of" << m_fileCount << "files copied," << m_report.outcome;
    Q_EMIT stateChanged();
}
