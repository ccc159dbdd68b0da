// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "FileIOObject.h"

#include "writer/Cancellation_p.h"
#include "writer/KeptFile_p.h"
#include "writer/LogQueue_p.h"

#include <QFileInfo>
#include <QScopeGuard>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kBacklogLimitBytes = 64 * 1024;

} // namespace

FileIOObject::FileIOObject(QObject *parent)
    : QObject(parent)
    , path(QLatin1String(""))
{
}

bool FileIOObject::openFile()
{
    closeFile();
    myfile.setFileName(path);
    if (path.isEmpty())
        return false; // QFile would raise a warning, and so one more line to write.
    m_isNameUnsynced = true;
    const Cancellation::EnabledScope cancellable;
    return myfile.open(QIODevice::ReadWrite | QIODevice::Append);
}

bool FileIOObject::writeFile()
{
    if (contentList.isEmpty() || !myfile.isOpen())
        return false;

    myfile.flush(); // What the owner wrote to myfile comes first.
    writeBatch(textToWrite().toUtf8(), end());
    return true;
}

void FileIOObject::closeFile()
{
    if (!myfile.isOpen())
        return;
    writeFile();
    writeBacklog();
    sync();
    myfile.close();
}

QString FileIOObject::textToWrite() const
{
    QString text;
    for (const QString &line : contentList)
        text += line + QLatin1Char('\n');
    return text;
}

// Writes the backlog and then the batch, or adds the batch to the backlog. The file's size is `begin`.
FileIOObject::Outcome FileIOObject::writeBatch(const QByteArray &batch, qint64 begin)
{
    const qint64 backlog = m_backlog.size();
    if (writeBacklog() && writeWhole(batch, begin + backlog))
        return Outcome::Written;
    if (hasBacklog() && m_backlog.size() + batch.size() > kBacklogLimitBytes)
        return Outcome::Dropped;
    m_backlog += batch;
    return Outcome::Waiting;
}

// Returns whether no backlog is left.
bool FileIOObject::writeBacklog()
{
    if (!hasBacklog())
        return true;
    const qint64 begin = end();
    if (m_keeper != nullptr)
        m_keeper->intendBacklog(category, begin, m_backlog);
    m_isBacklogInWrite = true;
    const bool isWritten = append(m_backlog, begin);
    m_isBacklogInWrite = false;
    if (isWritten)
        settleBacklog();
    return isWritten;
}

void FileIOObject::settleBacklog()
{
    m_backlog.clear();
    if (m_keeper != nullptr)
        m_keeper->settleBacklog(category);
}

bool FileIOObject::writeWhole(const QByteArray &batch, qint64 begin)
{
    if (m_keeper != nullptr)
        m_keeper->intend(category, m_entries, begin, batch);
    return append(batch, begin);
}

// Bypasses QFile's buffer, which holds up to 16 KiB back, tears larger batches when the disk is full, and is written by
// QFile's destructor, where the thread must not be cancelled.
bool FileIOObject::append(const QByteArray &batch, qint64 begin)
{
    m_inWrite = batch;
    m_begin = begin;
    const int descriptor = myfile.handle();
    const char *rest = batch.constData();
    auto left = static_cast<size_t>(batch.size());
    while (left > 0) {
        const Cancellation::EnabledScope cancellable;
        const ssize_t written = ::write(descriptor, rest, left);
        if (written > 0) {
            rest += written;
            left -= static_cast<size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            break;
        }
    }
    m_inWrite.clear();
    if (left == 0)
        return true;

    // Cut off, unless another process has appended since. What a pipe or a device took can't be cut off. It all comes
    // again as a whole.
    const auto torn = static_cast<off_t>(rest - batch.constData());
    const off_t written = ::lseek(descriptor, 0, SEEK_CUR);
    struct stat status = {};
    if (torn > 0 && ::fstat(descriptor, &status) == 0 && status.st_size == written) {
        const bool isTakenBack = ::ftruncate(descriptor, written - torn) == 0;
        Q_UNUSED(isTakenBack)
    }
    if (m_keeper != nullptr)
        m_keeper->kept()->withdraw();
    return false;
}

// After a thread was cancelled in append(): whether a batch that was not the backlog is in the file as a whole. Cuts a
// part of it off, unless another process has appended since. Settles a backlog that was written as a whole.
bool FileIOObject::settleCutWrite()
{
    const int descriptor = myfile.handle();
    struct stat status = {};
    qsizetype found = 0;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        QByteArray bytes(m_inWrite.size(), Qt::Uninitialized);
        const Cancellation::EnabledScope cancellable;
        const ssize_t size = ::pread(descriptor, bytes.data(), static_cast<size_t>(bytes.size()), m_begin);
        found
            = std::mismatch(bytes.constData(), bytes.constData() + qMax<ssize_t>(size, 0), m_inWrite.constData()).first
            - bytes.constData();
    }
    const bool isWhole = found == m_inWrite.size();
    const bool isBacklog = std::exchange(m_isBacklogInWrite, false);
    m_inWrite.clear();
    if (!isWhole && found > 0 && status.st_size == m_begin + found) {
        const bool isTakenBack = ::ftruncate(descriptor, m_begin) == 0;
        Q_UNUSED(isTakenBack)
    }
    if (isWhole && isBacklog)
        settleBacklog();
    else if (!isWhole && m_keeper != nullptr)
        m_keeper->kept()->withdraw();
    return isWhole && !isBacklog;
}

qint64 FileIOObject::end() const
{
    return ::lseek(myfile.handle(), 0, SEEK_END);
}

// Brings what was written to storage, if m_isUnsynced says so. A thread that is cancelled in here tears no line.
void FileIOObject::sync()
{
    if (!m_isUnsynced || !myfile.isOpen())
        return;
    {
        const Cancellation::EnabledScope cancellable;
        ::fdatasync(myfile.handle());
    }
    if (m_isNameUnsynced) {
        const QByteArray folder = QFile::encodeName(QFileInfo(path).path());
        int descriptor = -1;
        const auto close = qScopeGuard([&descriptor] { ::close(descriptor); });
        const Cancellation::EnabledScope cancellable;
        descriptor = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::fsync(descriptor);
    }
    m_isUnsynced = hasBacklog(); // A backlog is still to be written, and then to be synced.
    m_isNameUnsynced = false;
}
