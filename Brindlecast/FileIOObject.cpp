// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "FileIOObject.h"

#include "writer/Cancellation_p.h"
#include "writer/LogQueue_p.h"

#include <QFileInfo>
#include <QScopeGuard>

#include <cerrno>

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
        return false; // QFile would raise a warning, which comes back to the logger as one more line.
    m_isNameUnsynced = true;
    const Cancellation::EnabledScope cancellable;
    return myfile.open(QIODevice::ReadWrite | QIODevice::Append);
}

bool FileIOObject::writeFile()
{
    if (contentList.isEmpty() || !myfile.isOpen())
        return false;

    writeBatch(textToWrite().toUtf8());
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

// Writes the batch behind what still waits, or lets it wait too.
FileIOObject::Outcome FileIOObject::writeBatch(const QByteArray &batch)
{
    writeBacklog();
    if (!hasBacklog() && writeWhole(batch))
        return Outcome::Written;
    // What is kept are entries of the queue. No others may lie between them.
    const bool mayWait = m_keeper == nullptr || m_entries > 0;
    if (!mayWait || (hasBacklog() && m_backlog.size() + batch.size() > kBacklogLimitBytes))
        return Outcome::Dropped;
    m_backlog += batch;
    return Outcome::Waiting;
}

// Whether there is none any more.
bool FileIOObject::writeBacklog()
{
    if (!hasBacklog())
        return true;
    if (m_keeper != nullptr)
        m_keeper->intendBacklog(category, ::lseek(myfile.handle(), 0, SEEK_END), m_backlog);
    if (!append(m_backlog))
        return false;
    m_backlog.clear();
    if (m_keeper != nullptr)
        m_keeper->settleBacklog(category);
    return true;
}

bool FileIOObject::writeWhole(const QByteArray &batch)
{
    if (m_keeper != nullptr)
        m_keeper->intend(category, m_entries, ::lseek(myfile.handle(), 0, SEEK_END), batch);
    return append(batch);
}

// Past QFile's buffer: that one holds up to 16 KiB of a record, tears larger ones when the disk is full, and writes in
// QFile's destructor, where the thread must not be cancelled.
bool FileIOObject::append(const QByteArray &batch)
{
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
    if (left == 0)
        return true;

    const auto torn = static_cast<off_t>(rest - batch.constData());
    struct stat status = {};
    if (torn > 0 && ::fstat(descriptor, &status) == 0) {
        // A file that is no regular one keeps what it took, and gets it once more.
        const bool isTakenBack = ::ftruncate(descriptor, status.st_size - torn) == 0;
        Q_UNUSED(isTakenBack)
    }
    if (m_keeper != nullptr)
        m_keeper->withdraw();
    return false;
}

// Brings to storage what was written, if somebody has marked it. A thread that is cut off in here leaves a whole file.
void FileIOObject::sync()
{
    if (!m_isUnsynced || !myfile.isOpen())
        return;
    m_isSyncing = true;
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
    m_isUnsynced = m_isNameUnsynced = m_isSyncing = false;
}
