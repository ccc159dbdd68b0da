// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "KeptFile_p.h"

#include <Brindlecast/LogDirectory_p.h>

#include <QFile>
#include <QScopeGuard>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace {

constexpr char kMark[16] = "Brindlecast k 1"; // The last character is the version.
constexpr std::size_t kHeaderBytes = 8192;
constexpr int kLeastChunks = 2;
constexpr std::size_t kComparedBytes = 4096;
constexpr std::size_t kNameBytes = 64;
constexpr int kNames = 8;

bool isInMemory(const struct statfs &fileSystem)
{
    const auto type = static_cast<quint32>(fileSystem.f_type); // On some 32-bit machines it is signed.
    return type == TMPFS_MAGIC || type == RAMFS_MAGIC;
}

// Whether the library could have given this name, which then leads to no other folder.
bool isLogName(const QByteArray &name)
{
    return name.startsWith("log-") && name.endsWith(".log") && name.size() < int(kNameBytes) && !name.contains('/');
}

bool isZero(const char *bytes, std::size_t size)
{
    return std::all_of(bytes, bytes + size, [](char byte) { return byte == 0; });
}

std::size_t totalBytes(int chunks)
{
    return kHeaderBytes + static_cast<std::size_t>(chunks) * KeptFile::kChunkBytes;
}

} // namespace

struct KeptFile::Name
{
    std::atomic<quint32> slot; // 1 or 2: which of the names is valid; 0: none.
    quint64 category; // Written only while no name is valid.
    char names[2][kNameBytes];
};

struct KeptFile::Intent
{
    std::atomic<quint32> progress;
    quint32 bytes;
    qint64 begin;
    Records records;
    char text[kComparedBytes]; // The first bytes, which are compared with the log file.
};

struct KeptFile::Header
{
    char mark[sizeof kMark];
    std::atomic<quint32> chunks;
    std::atomic<quint32> outside;
    // What the writer thread changes lies in other cache lines than what the raising threads change.
    alignas(64) std::atomic<quint32> settledOutside;
    quint32 nextName;
    Intent intent;
    Name names[kNames];
};

std::unique_ptr<KeptFile> KeptFile::open(const QByteArray &path, int bytes)
{
    static_assert(sizeof(Header) <= kHeaderBytes, "the chunks lie behind it");
    const QByteArray folder = path.contains('/') ? path.left(path.lastIndexOf('/') + 1) : QByteArray("./");
    struct statfs fileSystem = {};
    struct stat status = {};
    if (path.contains('\0') || ::statfs(folder.constData(), &fileSystem) != 0 || !isInMemory(fileSystem))
        return nullptr;
    const bool isNew = ::lstat(path.constData(), &status) != 0;
    if (!isNew && !S_ISREG(status.st_mode)) // Opening a device can have effects of its own.
        return nullptr;
    const int flags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | (isNew ? O_CREAT | O_EXCL : 0);
    const int descriptor = ::open(path.constData(), flags, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        return nullptr;
    std::unique_ptr<KeptFile> file(new KeptFile(descriptor));
    if (!isOurs(descriptor))
        return nullptr; // Not removed: another process may have locked it by now.
    if (!file->map(bytes) || !file->settleIntent()) {
        if (isNew)
            ::unlink(path.constData());
        return nullptr;
    }
    return file;
}

KeptFile::~KeptFile()
{
    if (m_header != nullptr)
        ::munmap(m_header, m_mappedBytes);
    ::close(m_descriptor);
}

void KeptFile::leaveInChild()
{
    ::close(std::exchange(m_descriptor, -1)); // The child's own children come here too.
}

// Locks the file, unless another process has, and checks that nobody else can use it. The lock belongs to the open
// file. A lock of the process would be lost when the host opened and closed the file elsewhere.
bool KeptFile::isOurs(int descriptor)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    struct stat status = {};
    struct statfs fileSystem = {};
    return ::fcntl(descriptor, F_OFD_SETLK, &lock) == 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)
        && status.st_nlink == 1 && status.st_uid == ::geteuid()
        && (status.st_mode & (S_IRWXG | S_IRWXO | S_ISUID | S_ISGID)) == 0 && ::fstatfs(descriptor, &fileSystem) == 0
        && isInMemory(fileSystem);
}

// Maps the file with all that the process before left in it, or makes a new one.
bool KeptFile::map(int bytes)
{
    const int wanted = std::max(kLeastChunks, bytes / int(kChunkBytes) + (bytes % int(kChunkBytes) > 0 ? 1 : 0));
    alignas(Header) char head[kHeaderBytes] = {};
    struct stat status = {};
    if (::fstat(m_descriptor, &status) != 0 || ::pread(m_descriptor, head, sizeof head, 0) < 0)
        return false;
    const bool isMarked = std::memcmp(head, kMark, sizeof kMark) == 0;
    if (!isMarked && !isZero(head, sizeof head))
        return false; // Somebody else's.
    const auto size = static_cast<quint64>(status.st_size);
    const quint32 found = isMarked ? reinterpret_cast<const Header *>(head)->chunks.load() : 0;
    const bool isWhole = found >= kLeastChunks && found <= std::numeric_limits<int>::max() / kChunkBytes + 1
        && size >= totalBytes(int(found));
    int count = std::max(wanted, isWhole ? int(found) : 0);
    if (!isWhole && ::ftruncate(m_descriptor, 0) != 0)
        return false;
    auto growth = qScopeGuard([this, former = isWhole ? status.st_size : 0] {
        const bool isAsBefore = ::ftruncate(m_descriptor, former) == 0;
        Q_UNUSED(isAsBefore)
    });
    if (::posix_fallocate(m_descriptor, 0, static_cast<off_t>(totalBytes(count))) != 0) {
        count = int(found); // No room to grow: the present size will do.
        if (!isWhole || ::posix_fallocate(m_descriptor, 0, static_cast<off_t>(totalBytes(count))) != 0)
            return false;
    }
    // In one write: a file with a part of the mark would be taken for somebody else's.
    Header fresh = {};
    std::copy_n(kMark, sizeof kMark, fresh.mark);
    fresh.chunks = quint32(count);
    if (!isWhole && ::pwrite(m_descriptor, &fresh, offsetof(Header, outside), 0) != offsetof(Header, outside))
        return false;
    m_mappedBytes = totalBytes(count);
    void *const memory
        = ::mmap(nullptr, m_mappedBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, m_descriptor, 0);
    if (memory == MAP_FAILED)
        return false;
    growth.dismiss();
    ::madvise(memory, m_mappedBytes, MADV_DONTFORK);
    m_header = static_cast<Header *>(memory);
    publish(m_header->chunks, quint32(count));
    return true;
}

int KeptFile::chunks() const
{
    return static_cast<int>((m_mappedBytes - kHeaderBytes) / kChunkBytes);
}

void *KeptFile::chunk(int index) const
{
    return reinterpret_cast<char *>(m_header) + totalBytes(index);
}

void KeptFile::setName(unsigned long category, const QByteArray &name)
{
    const auto isItsOwn = [category](const Name &known) { return known.slot != 0 && known.category == category; };
    Name *known = std::find_if(std::begin(m_header->names), std::end(m_header->names), isItsOwn);
    if (known == std::end(m_header->names)) {
        known = &m_header->names[m_header->nextName++ % kNames];
        publish(known->slot, 0);
        known->category = category;
    }
    if (!isLogName(name)) {
        publish(known->slot, 0);
        return;
    }
    const quint32 slot = known->slot == 1 ? 2 : 1;
    std::copy_n(name.constData(), name.size() + 1, known->names[slot - 1]);
    publish(known->slot, slot);
}

QByteArray KeptFile::name(unsigned long category) const
{
    for (const Name &known : m_header->names) {
        const quint32 slot = known.slot;
        if ((slot != 1 && slot != 2) || known.category != category)
            continue;
        const char *const text = known.names[slot - 1];
        const QByteArray copy(text, int(::strnlen(text, kNameBytes)));
        return isLogName(copy) ? copy : QByteArray();
    }
    return {};
}

void KeptFile::forgetNames()
{
    for (Name &known : m_header->names)
        publish(known.slot, 0);
}

void KeptFile::intend(const Records &records, qint64 begin, const QByteArray &bytes)
{
    Intent &intent = m_header->intent;
    intent.records = records;
    intent.begin = begin;
    intent.bytes = static_cast<quint32>(bytes.size());
    std::copy_n(bytes.constData(), std::min(std::size_t(bytes.size()), kComparedBytes), intent.text);
    publish(intent.progress, Begun);
}

void KeptFile::withdraw()
{
    publish(m_header->intent.progress, None);
}

std::unique_ptr<KeptFile::Records> KeptFile::writtenRecords() const
{
    if (m_header->intent.progress != Written)
        return nullptr;
    return std::make_unique<Records>(m_header->intent.records);
}

void KeptFile::addOutside(quint32 lines)
{
    publish(m_header->outside, m_header->outside.load(std::memory_order_relaxed) + lines);
}

void KeptFile::settleOutside(quint32 lines)
{
    // The writer thread calls it without the queue's lock, those that report dropped lines call it with the lock.
    m_header->settledOutside.fetch_add(lines, std::memory_order_relaxed);
}

quint32 KeptFile::settledOutside() const
{
    return m_header->settledOutside;
}

quint32 KeptFile::linesOutside() const
{
    return m_header->outside - m_header->settledOutside;
}

// Finds out whether what the process before was writing is in its log file, and cuts off a part of it. False when that
// can't be found out now. If this process is killed in here, the next one does it again.
bool KeptFile::settleIntent()
{
    Intent &intent = m_header->intent;
    if (intent.progress != Begun || intent.begin < 0 || intent.bytes == 0) {
        if (intent.progress != Written)
            withdraw();
        return true;
    }
    const QByteArray logName = name(static_cast<unsigned long>(intent.records.category));
    const QByteArray path = QFile::encodeName(logDirectory()) + logName;
    const int descriptor
        = logName.isEmpty() ? -1 : ::open(path.constData(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    const auto close = qScopeGuard([descriptor] { ::close(descriptor); });
    struct stat status = {};
    if (descriptor < 0 && !logName.isEmpty() && errno != ENOENT && errno != ELOOP)
        return false;
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        withdraw();
        return true;
    }

    const auto compared = std::min(std::size_t(intent.bytes), kComparedBytes);
    QByteArray bytes(int(compared), '\0');
    const ssize_t size = ::pread(descriptor, bytes.data(), compared, static_cast<off_t>(intent.begin));
    if (size < 0 && errno != EINVAL)
        return false;
    const qint64 found = std::mismatch(bytes.cbegin(), bytes.cbegin() + std::max<ssize_t>(size, 0), intent.text).first
        - bytes.cbegin();
    if (found == qint64(compared) && status.st_size >= intent.begin + intent.bytes) {
        publish(m_header->settledOutside, intent.records.settledOutside);
        publish(intent.progress, Written);
        return true;
    }
    // If another process has appended since, nothing is cut off.
    const bool isTorn = found > 0 && (found == qint64(compared) || intent.begin + found == status.st_size);
    if (isTorn && ::ftruncate(descriptor, static_cast<off_t>(intent.begin)) != 0)
        return false;
    withdraw();
    return true;
}
