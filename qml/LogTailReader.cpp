// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogTailReader.h"

#include <QFile>
#include <QMetaObject>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr qint64 kFirstWindowBytes = 256LL * 1024;
constexpr qint64 kLastWindowBytes = 16LL * 1024 * 1024;
constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;
constexpr std::size_t kRememberedBytes = 256;

constexpr auto kLongestEnd = 500ms;

LogTail::State stateOf(const RegularFile &file)
{
    switch (file.state()) {
    case RegularFile::State::Open:
        return LogTail::State::Ready;
    case RegularFile::State::Missing:
        return LogTail::State::Missing;
    case RegularFile::State::OfOtherKind:
    case RegularFile::State::Unreadable:
        break;
    }
    return LogTail::State::Unreadable;
}

// How many bytes were read, 0 at the file's end, -1 if it can't be read.
qint64 read(const RegularFile &file, char *to, std::size_t size, qint64 offset)
{
    qint64 number = 0;
    do
        number = ::pread(file.descriptor(), to, size, offset);
    while (number < 0 && errno == EINTR);
    return number;
}

} // namespace

void LogTail::Batch::add(Batch &&next)
{
    const int ownRetracted = std::min(next.retracted, static_cast<int>(rows.size()));
    rows.erase(rows.end() - ownRetracted, rows.end());
    retracted += next.retracted - ownRetracted;
    std::move(next.rows.begin(), next.rows.end(), std::back_inserter(rows));
    state = next.state;
    isComplete = dropOldest(rows) == 0 && isComplete && next.isComplete;
    hasLevels = hasLevels || next.hasLevels;
}

void LogTail::Reader::ask(const std::shared_ptr<Reader> &self, const Request &request)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_request = request;
    m_isAsked = true;
    m_generation = request.generation;
    m_changed.notify_all();
    if (m_thread.joinable() || request.path.isEmpty())
        return;
    try {
        m_thread = std::thread([self] { self->run(); });
    } catch (const std::system_error &) { // The process may have no further thread; the next request tries again.
        Batch batch;
        batch.generation = request.generation;
        batch.state = State::Unreadable;
        batch.replaces = true;
        deliver(std::move(batch));
    }
}

std::optional<LogTail::Batch> LogTail::Reader::takeBatch()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_batch, std::nullopt);
}

void LogTail::Reader::end()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_model = nullptr;
    ++m_generation;
    m_changed.notify_all();
    if (!m_thread.joinable())
        return;
    const bool hasEnded = m_changed.wait_for(lock, kLongestEnd, [this] { return m_hasEnded; });
    lock.unlock();
    if (hasEnded)
        m_thread.join();
    else
        m_thread.detach();
}

void LogTail::Reader::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    Request request;
    while (m_model != nullptr) {
        const bool isOther = m_request.generation != request.generation;
        request = m_request;
        m_isAsked = false;
        const bool isWatching = request.isFollowing && !request.path.isEmpty();
        if (isWatching || (isOther && !request.path.isEmpty())) {
            lock.unlock();
            if (isOther)
                m_parser.reset();
            look(request, isOther);
            lock.lock();
        }
        const auto hasChanged = [this] { return m_model == nullptr || m_isAsked; };
        if (isWatching)
            m_changed.wait_for(lock, std::chrono::milliseconds(request.intervalMs), hasChanged);
        else
            m_changed.wait(lock, hasChanged);
    }
    m_hasEnded = true;
    m_changed.notify_all();
}

void LogTail::Reader::look(const Request &request, bool isFirstLook)
{
    const RegularFile file(QFile::encodeName(request.path));
    Batch batch;
    batch.generation = request.generation;
    batch.state = stateOf(file);
    batch.replaces = isFirstLook;
    bool hasRead = false;
    if (batch.state == State::Ready) {
        const bool isOtherFile = !isContinuedBy(file);
        const qint64 formerEnd = m_end;
        const bool isRead = isOtherFile ? readEnd(file, request) : readOn(file, request);
        if (m_generation != request.generation)
            return;
        if (isRead) {
            hasRead = isOtherFile || m_end != formerEnd;
            batch.replaces = batch.replaces || isOtherFile;
        } else {
            m_parser.reset();
            batch.state = State::Unreadable;
        }
    }
    if (!batch.replaces && !hasRead && batch.state == m_state)
        return;
    m_state = batch.state;
    if (hasRead) {
        batch.retracted = batch.replaces ? 0 : m_openNumber;
        batch.rows = m_parser->takeRows(m_openNumber);
        batch.isComplete = m_parser->isComplete();
        batch.hasLevels = m_isLog || m_parser->hasLevels();
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    deliver(std::move(batch));
}

// Whether the file is the one that was read before, with nothing but new bytes after those that were read.
bool LogTail::Reader::isContinuedBy(const RegularFile &file) const
{
    if (!m_parser || file.identity() != m_identity || file.size() < m_end || file.size() - m_end > kLastWindowBytes)
        return false;
    char bytes[kRememberedBytes];
    const auto size = static_cast<qint64>(m_lastBytes.size());
    return read(file, bytes, m_lastBytes.size(), m_end - size) == size
        && m_lastBytes == std::string_view(bytes, m_lastBytes.size());
}

// Reads more and more of the file's end until there are rows enough.
bool LogTail::Reader::readEnd(const RegularFile &file, const Request &request)
{
    m_identity = file.identity();
    char first[64];
    const qint64 size = read(file, first, sizeof first, 0);
    m_isLog = size > 0 && Parser::isRecord({first, static_cast<std::size_t>(size)});
    for (qint64 window = kFirstWindowBytes;; window *= 4) {
        const bool isWhole = window >= file.size();
        m_parser.emplace(request.lowestLevel, isWhole);
        // One byte earlier: if it ends a line, the window begins with a whole one.
        m_end = isWhole ? 0 : file.size() - window - 1;
        m_lastBytes.clear();
        if (!readOn(file, request))
            return false;
        // In a log, lines without a record before them are the rest of one that is longer than the window.
        const bool isEnough = m_parser->isFull() && (m_parser->hasLevels() || !m_isLog);
        if (isWhole || isEnough || window >= kLastWindowBytes)
            return true;
    }
}

// Reads up to the size that the file had when it was opened. Returns false if it can't be read, or if the request is
// out of date.
bool LogTail::Reader::readOn(const RegularFile &file, const Request &request)
{
    m_block.resize(kBlockBytes);
    while (m_end < file.size()) {
        const auto wanted = std::min<qint64>(static_cast<qint64>(kBlockBytes), file.size() - m_end);
        const qint64 size = read(file, m_block.data(), static_cast<std::size_t>(wanted), m_end);
        if (size < 0 || m_generation != request.generation)
            return false;
        if (size == 0)
            break;
        const std::string_view bytes(m_block.data(), static_cast<std::size_t>(size));
        m_parser->feed(bytes);
        m_end += size;
        m_lastBytes.append(bytes.substr(bytes.size() - std::min(bytes.size(), kRememberedBytes)));
        m_lastBytes.erase(0, m_lastBytes.size() - std::min(m_lastBytes.size(), kRememberedBytes));
    }
    return true;
}

// Calls the model unless a call is pending already; then adds to the batch that this call will take. Needs m_mutex.
void LogTail::Reader::deliver(Batch batch)
{
    if (m_model == nullptr)
        return;
    if (!m_batch)
        QMetaObject::invokeMethod(m_model, "takeBatch", Qt::QueuedConnection);
    if (m_batch && m_batch->generation == batch.generation && !batch.replaces)
        m_batch->add(std::move(batch));
    else
        m_batch = std::move(batch);
}
