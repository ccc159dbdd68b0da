// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ExportFolder_p.h"

#include "PartFile_p.h"

#include <cerrno>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

bool isSame(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

} // namespace

ExportFolder::ExportFolder(const QByteArray &path)
    : m_path(path)
    , m_descriptor(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    , m_openError(m_descriptor < 0 ? errno : 0)
{
}

ExportFolder::~ExportFolder()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool ExportFolder::isHere() const
{
    struct stat opened = {};
    struct stat found = {};
    return ::fstat(m_descriptor, &opened) == 0 && ::stat(m_path.constData(), &found) == 0 && isSame(opened, found);
}

bool ExportFolder::isReadOnly() const
{
    struct statvfs disk = {};
    return ::fstatvfs(m_descriptor, &disk) == 0 && (disk.f_flag & ST_RDONLY) != 0;
}

qint64 ExportFolder::bytesFree() const
{
    struct statvfs disk = {};
    const bool isKnown = ::fstatvfs(m_descriptor, &disk) == 0 && disk.f_blocks > 0;
    return isKnown ? static_cast<qint64>(disk.f_bavail) * static_cast<qint64>(disk.f_frsize) : -1;
}

qint64 ExportFolder::sizeOnDisk(qint64 size) const
{
    struct statvfs disk = {};
    const qint64 block = ::fstatvfs(m_descriptor, &disk) == 0 ? qMax(static_cast<qint64>(disk.f_frsize), qint64{1}) : 1;
    return (size + block - 1) / block * block;
}

bool ExportFolder::holds(const QByteArray &name, const struct stat &file) const
{
    struct stat found = {};
    return ::fstatat(m_descriptor, name.constData(), &found, AT_SYMLINK_NOFOLLOW) == 0 && isSame(found, file);
}

void ExportFolder::removeLeftovers(const std::function<bool()> &goOn) const
{
    const int listed = ::openat(m_descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *const entries = listed < 0 ? nullptr : ::fdopendir(listed);
    if (entries == nullptr) {
        if (listed >= 0)
            ::close(listed);
        return;
    }
    while (goOn()) {
        // cppcheck-suppress readdirCalled ; no other thread uses this stream
        const dirent *const entry = ::readdir(entries);
        if (entry == nullptr)
            break;
        const QByteArray name = QByteArray::fromRawData(entry->d_name, static_cast<int>(qstrlen(entry->d_name)));
        if (PartFile::isOurName(name))
            removeLeftover(name);
    }
    ::closedir(entries);
}

void ExportFolder::removeLeftover(const QByteArray &name) const
{
    // Opening a pipe or a device has effects of its own.
    struct stat found = {};
    if (::fstatat(m_descriptor, name.constData(), &found, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(found.st_mode))
        return;
    const int file = ::openat(m_descriptor, name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return;
    struct stat opened = {};
    // Whoever is still writing to it holds the lock.
    const bool isLeft = ::fstat(file, &opened) == 0 && isSame(opened, found) && ::flock(file, LOCK_EX | LOCK_NB) == 0;
    if (isLeft && holds(name, opened))
        ::unlinkat(m_descriptor, name.constData(), 0);
    ::close(file);
}

bool ExportFolder::sync() const
{
    // Some file systems can't sync a folder (EINVAL). There syncfs() has to do.
    const bool areNamesThere = ::fsync(m_descriptor) == 0 || errno == EINVAL;
    return areNamesThere && ::syncfs(m_descriptor) == 0;
}
