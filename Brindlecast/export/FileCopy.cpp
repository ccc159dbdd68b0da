// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "FileCopy_p.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <unistd.h>

namespace {

// A slow stick takes half a second to write one.
constexpr qint64 kBlock = qint64{512} * 1024;
constexpr std::size_t kBuffer = std::size_t{128} * 1024;

template <typename Call> ssize_t untilNotInterrupted(Call call)
{
    ssize_t result = -1;
    do
        result = call();
    while (result < 0 && errno == EINTR);
    return result;
}

/** Moves blocks within the kernel where it can, and through a buffer from the first time that it can't. */
class BlockMover
{
public:
    BlockMover(int source, int target)
        : m_source(source)
        , m_target(target)
    {
    }

    /** Copies up to `size` bytes at the offset `at`, at least one unless `failure` says why not; returns how many. */
    qint64 move(qint64 at, qint64 size, FileCopy &failure)
    {
        if (!m_buffer) {
            off_t offset = at;
            const ssize_t sent = ::sendfile(m_target, m_source, &offset, static_cast<std::size_t>(size));
            if (sent > 0)
                return sent;
            // Whatever the cause, the calls below find out which of the two files has it.
            m_buffer = std::make_unique<char[]>(kBuffer);
        }
        return moveThroughBuffer(at, std::min(static_cast<std::size_t>(size), kBuffer), failure);
    }

private:
    qint64 moveThroughBuffer(qint64 at, std::size_t size, FileCopy &failure)
    {
        const ssize_t got = untilNotInterrupted([&] { return ::pread(m_source, m_buffer.get(), size, at); });
        if (got <= 0) {
            failure = got == 0 ? FileCopy{FileCopy::SourceEnded, 0} : FileCopy{FileCopy::SourceFailed, errno};
            return 0;
        }
        for (ssize_t put = 0; put < got;) {
            const ssize_t written = untilNotInterrupted([&] {
                return ::pwrite(m_target, m_buffer.get() + put, static_cast<std::size_t>(got - put), at + put);
            });
            if (written <= 0) {
                failure = {FileCopy::TargetFailed, written == 0 ? EIO : errno};
                return 0;
            }
            put += written;
        }
        return got;
    }

    const int m_source;
    const int m_target;
    std::unique_ptr<char[]> m_buffer;
};

/** Starts the writing of each block to the medium, and waits so that the copy is never more than two blocks ahead. */
class WriteBack
{
public:
    explicit WriteBack(int file)
        : m_file(file)
    {
    }

    /** Notes that all bytes up to `end` are written; returns an error of the medium, or 0. */
    int follow(qint64 end)
    {
        for (; end - m_started >= kBlock; m_started += kBlock) {
            ::sync_file_range(m_file, m_started, kBlock, SYNC_FILE_RANGE_WRITE);
            if (m_started == 0)
                continue;
            constexpr unsigned wait = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
            // fsync() does not report again an error that is reported here.
            const bool isMedium = ::sync_file_range(m_file, m_started - kBlock, kBlock, wait) != 0
                && (errno == EIO || errno == ENOSPC || errno == EDQUOT);
            if (isMedium)
                return errno;
        }
        return 0;
    }

private:
    const int m_file;
    qint64 m_started = 0;
};

} // namespace

FileCopy FileCopy::run(int source, int target, qint64 size, const std::function<bool(qint64 done)> &goOn)
{
    // FAT, for example, can't hold files above 4 GiB. Find out now, not after 4 GiB.
    if (::lseek(target, size, SEEK_SET) < 0 || ::lseek(target, 0, SEEK_SET) < 0)
        return {TargetFailed, EFBIG};

    BlockMover mover(source, target);
    WriteBack writeBack(target);
    FileCopy result;
    for (qint64 done = 0; done < size && result.ending == Complete;) {
        if (!goOn(done))
            return {Stopped, 0};
        done += mover.move(done, std::min(size - done, kBlock), result);
        const int error = writeBack.follow(done);
        if (error != 0)
            return {TargetFailed, error};
    }
    return result;
}
