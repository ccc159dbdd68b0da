// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "PartFile_p.h"

#include <QRandomGenerator>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr char kNameStart[] = "brindlecast-";
constexpr int kDigits = 8;
constexpr int kRandomDigitsAt = sizeof kNameStart - 1;

QByteArray partName(quint32 number)
{
    quint32 check = 2166136261U;
    for (int shift = 0; shift < 32; shift += 8)
        check = (check ^ ((number >> shift) & 0xffU)) * 16777619U;
    char name[NAME_MAX + 1];
    std::snprintf(name, sizeof name, "%s%08x%08x.part", kNameStart, number, check);
    return name;
}

// "a-2.log" for "a.log". A name that would be too long is shortened before the number.
QByteArray numberedName(const QByteArray &name, int number)
{
    const auto dot = name.lastIndexOf('.');
    QByteArray base = dot < 0 ? name : name.left(dot);
    QByteArray end = dot < 0 || dot == name.size() - 1 ? QByteArray() : name.mid(dot);
    const QByteArray mark = '-' + QByteArray::number(number);
    if (mark.size() + end.size() > NAME_MAX) {
        base = name;
        end.clear();
    }
    const auto isInsideCharacter
        = [&base](auto at) { return (static_cast<unsigned char>(base.at(at)) & 0xc0U) == 0x80U; };
    auto kept = qMin(base.size(), NAME_MAX - mark.size() - end.size());
    while (kept > 0 && kept < base.size() && isInsideCharacter(kept))
        --kept;
    return base.left(kept) + mark + end;
}

} // namespace

bool PartFile::isOurName(const QByteArray &name)
{
    bool isNumber = false;
    const quint32 number = name.mid(kRandomDigitsAt, kDigits).toUInt(&isNumber, 16);
    return isNumber && name == partName(number);
}

PartFile::PartFile(const ExportFolder &folder, mode_t mode)
    : m_folder(folder)
    , m_error(makeFile(mode))
{
}

PartFile::~PartFile()
{
    if (m_descriptor < 0)
        return;
    if (m_folder.holds(m_name, m_identity))
        ::unlinkat(m_folder.descriptor(), m_name.constData(), 0);
    ::close(m_descriptor);
}

int PartFile::makeFile(mode_t mode)
{
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        m_name = partName(QRandomGenerator::system()->generate());
        m_descriptor = ::openat(m_folder.descriptor(), m_name.constData(),
                                O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (m_descriptor < 0 && errno == EEXIST)
            continue;
        if (m_descriptor < 0)
            return errno;
        if (::fstat(m_descriptor, &m_identity) != 0)
            return errno;
        // Before it was locked here, another export that removes leftovers may have found and locked it, and is about
        // to remove it. Where the file system has no locks, no leftovers are removed.
        const bool isTaken = ::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        const bool isThere = m_folder.holds(m_name, m_identity);
        if (isThere && !isTaken)
            return 0;
        if (isThere)
            ::unlinkat(m_folder.descriptor(), m_name.constData(), 0);
        ::close(m_descriptor);
        m_descriptor = -1;
    }
    return EEXIST;
}

int PartFile::sync() const
{
    return ::fsync(m_descriptor) == 0 ? 0 : errno;
}

int PartFile::publish(const QByteArray &name, const std::function<bool()> &goOn)
{
    QByteArray candidate = name;
    for (int number = 2;; ++number) {
        if (!goOn())
            return ECANCELED;
        if (!m_folder.holds(m_name, m_identity))
            return ESTALE;
        const int error = moveTo(candidate);
        if (error == 0)
            break;
        if (error != EEXIST)
            return error;
        candidate = numberedName(name, number);
    }
    if (!m_folder.holds(candidate, m_identity))
        return ESTALE;
    m_publishedName = candidate;
    // linkat() leaves it with two names. It is closed before the first is removed, because FUSE renames a file that is
    // removed while it is open.
    ::close(std::exchange(m_descriptor, -1));
    if (m_folder.holds(m_name, m_identity))
        ::unlinkat(m_folder.descriptor(), m_name.constData(), 0);
    return 0;
}

int PartFile::moveTo(const QByteArray &name) const
{
    const int folder = m_folder.descriptor();
    if (::renameat2(folder, m_name.constData(), folder, name.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return errno;
    // This file system can't rename without replacing.
    if (::linkat(folder, m_name.constData(), folder, name.constData(), 0) == 0)
        return 0;
    return errno == EEXIST ? EEXIST : replaceOwnPlaceholder(name);
}

// For file systems without links, FAT through FUSE for example: makes an empty file under `name` and replaces only
// that.
int PartFile::replaceOwnPlaceholder(const QByteArray &name) const
{
    const int folder = m_folder.descriptor();
    const int placeholder
        = ::openat(folder, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (placeholder < 0)
        return errno;
    struct stat identity = {};
    int error = ::fstat(placeholder, &identity) == 0 ? 0 : errno;
    ::close(placeholder); // FUSE renames a file that is replaced while it is open.
    if (error == 0 && !m_folder.holds(name, identity))
        error = ESTALE;
    if (error == 0 && ::renameat(folder, m_name.constData(), folder, name.constData()) != 0)
        error = errno;
    if (error != 0 && m_folder.holds(name, identity))
        ::unlinkat(folder, name.constData(), 0);
    return error;
}
