// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogQueue_p.h"

#include "LogWriterThread_p.h"

#include <QObject>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kChunkBytes = std::size_t{32} * 1024;
constexpr int kMostSpareChunks = 8;
// What the queue has to fall to once it was full. Without a margin every other line of a flood would be a notice.
constexpr int kRefillBelow = LogQueue::kMostWaitingLines - LogQueue::kMostWaitingLines / 16;

// Never without a limit: in some C++ libraries a thread that is cancelled in such a wait ends the process.
constexpr std::chrono::hours kLongestWait(1);

std::chrono::steady_clock::time_point endOf(QDeadlineTimer limit)
{
    const auto now = std::chrono::steady_clock::now();
    if (limit.isForever())
        return now + kLongestWait;
    return now + std::min<std::chrono::nanoseconds>(kLongestWait, std::chrono::nanoseconds(limit.remainingTimeNSecs()));
}

} // namespace

struct LogQueue::Record
{
    quint64 category;
    quint32 size; // UTF-16 units
    Kind kind;
    bool isUrgent;
};

struct LogQueue::Chunk
{
    ushort *text() { return reinterpret_cast<ushort *>(this + 1); }
    Record *firstRecord() { return reinterpret_cast<Record *>(reinterpret_cast<char *>(this) + bytes) - 1; }
    bool hasRoom(std::size_t size) const
    {
        return sizeof(Chunk) + (textSize + size) * sizeof(ushort) + (records + 1) * sizeof(Record) <= bytes;
    }

    ChunkPointer next;
    std::size_t bytes = 0;
    std::size_t textSize = 0;
    quint32 records = 0;
};

void LogQueue::FreeChunk::operator()(Chunk *chunk) const
{
    chunk->~Chunk();
    std::free(chunk); // NOLINT(cppcoreguidelines-no-malloc): its size is its own
}

void LogQueue::open()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_phase.store(Phase::Open, std::memory_order_release);
}

void LogQueue::close(bool appendsClear)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    ChunkPointer none;
    if (appendsClear)
        append({0, 0, Kind::Clear, false}, {}, none);
    m_phase.store(Phase::Closed, std::memory_order_release);
    unlockAndWake(lock, true);
}

bool LogQueue::retire()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_phase.store(Phase::Gone, std::memory_order_release);
    m_progressed.notify_all();
    return m_emissions == 0;
}

LineOutcome LogQueue::push(QStringView text, unsigned long category, const QObject &emitter, bool isUrgent)
{
    ChunkPointer longChunk = makeChunkIfLong(text);
    std::unique_lock<std::mutex> lock(m_mutex);
    if (phase() != Phase::Open)
        return LineOutcome::Refused;
    if (!hasRoomForLine()) {
        ++m_droppedLines;
        return LineOutcome::Dropped;
    }
    if (m_droppedLines > 0)
        return LineOutcome::NoticeDue;
    if (m_isObserved || emitter.signalsBlocked()) {
        ++m_emissions;
        return LineOutcome::ToBeEmitted;
    }
    if (!append({category, static_cast<quint32>(text.size()), Kind::Line, isUrgent}, text, longChunk)) {
        ++m_droppedLines;
        return LineOutcome::Dropped;
    }
    unlockAndWake(lock, true);
    return LineOutcome::Pushed;
}

bool LogQueue::pushRequest(const FileIOObjectPointer &request)
{
    if (phase() == Phase::Gone)
        return false; // A host emits in a forked child.
    const QString text = request->textToWrite();
    ChunkPointer longChunk = makeChunkIfLong(text);
    std::unique_lock<std::mutex> lock(m_mutex);
    if (phase() != Phase::Open)
        return false;
    m_requests.push_back(request);
    const auto size = static_cast<quint32>(text.size());
    if (!append({request->category, size, Kind::Request, request->m_isUrgent}, text, longChunk)) {
        m_requests.pop_back();
        ++m_droppedLines;
    }
    unlockAndWake(lock, true);
    return true;
}

void LogQueue::pushClear()
{
    if (phase() == Phase::Gone)
        return;
    std::unique_lock<std::mutex> lock(m_mutex);
    if (phase() != Phase::Open)
        return;
    ChunkPointer none;
    append({0, 0, Kind::Clear, false}, {}, none);
    unlockAndWake(lock, true);
}

void LogQueue::setObserved()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isObserved = true;
}

bool LogQueue::beginEmission()
{
    if (phase() == Phase::Gone)
        return false;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (phase() == Phase::Gone)
        return false;
    ++m_emissions;
    return true;
}

void LogQueue::endEmission()
{
    // A slot may have forked.
    if (phase() == Phase::Gone)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_emissions;
}

quint64 LogQueue::takeDropped()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_droppedLines, 0);
}

void LogQueue::addDropped(quint64 lines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_droppedLines += lines;
}

bool LogQueue::flush(QDeadlineTimer limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const quint64 pushed = m_pushed;
    while (m_isServing && m_handled < pushed) {
        if (limit.hasExpired())
            return false;
        m_awaited = std::min(m_awaited, pushed);
        m_progressed.wait_until(lock, endOf(limit));
    }
    return m_isServing && m_isNewestLineWritten;
}

bool LogQueue::hasWaiting()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_handled < m_pushed;
}

quint64 LogQueue::unwrittenLines()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<quint64>(m_waitingLines) + m_droppedLines;
}

void LogQueue::beginServing()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isServing = true;
    m_isWriterInside = true;
}

void LogQueue::endServing()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isServing = false;
    }
    m_woken.notify_one();
    m_progressed.notify_all();
}

bool LogQueue::waitForWriterToLeave(QDeadlineTimer limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (m_isWriterInside && !limit.hasExpired())
        m_progressed.wait_until(lock, endOf(limit));
    return !m_isWriterInside;
}

void LogQueue::sleep(bool wantsEntries, bool isOuterLoop, QDeadlineTimer limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto mustStayAwake = [this, wantsEntries, isOuterLoop] {
        return m_hasEvents || (isOuterLoop && !m_isServing) || (wantsEntries && m_isServing && m_head != nullptr);
    };
    while (!mustStayAwake() && !limit.hasExpired()) {
        m_sleep = wantsEntries ? Sleep::UntilEntries : Sleep::UntilEvents;
        m_woken.wait_until(lock, endOf(limit));
    }
    m_sleep = Sleep::None;
}

void LogQueue::wakeUp()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_hasEvents = true;
    unlockAndWake(lock, false);
}

bool LogQueue::takeWakeUp()
{
    return m_hasEvents.load(std::memory_order_relaxed) && m_hasEvents.exchange(false);
}

QueuedEntries LogQueue::front()
{
    QueuedEntries waiting;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_head != nullptr) {
        waiting.m_text = m_head->text() + m_readText;
        waiting.m_records = m_head->firstRecord() - m_readRecords;
        waiting.m_count = static_cast<int>(m_head->records - m_readRecords);
    }
    return waiting;
}

bool LogQueue::settle(int entries, bool isHandled, bool isWritten)
{
    ChunkPointer surplus;
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (int i = 0; i < entries; ++i) {
        const Record &record = *(m_head->firstRecord() - m_readRecords);
        ++m_readRecords;
        m_readText += record.size;
        m_waitingLines -= record.kind == Kind::Clear ? 0 : 1;
    }
    if (m_readRecords == m_head->records) {
        m_readRecords = 0;
        m_readText = 0;
        surplus = std::exchange(m_head, std::move(m_head->next));
        m_tail = m_head == nullptr ? nullptr : m_tail;
        if (surplus->bytes == kChunkBytes && m_spareCount < kMostSpareChunks) {
            ++m_spareCount;
            surplus->next = std::move(m_spare);
            m_spare = std::move(surplus);
        }
    }
    m_isNewestLineWritten = isWritten;
    if (isHandled)
        countHandled(entries);
    return isServing();
}

void LogQueue::addHandled(int entries)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    countHandled(entries);
}

FileIOObjectPointer LogQueue::takeSettledRequest()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    FileIOObjectPointer request = std::move(m_requests.front());
    m_requests.pop_front();
    return request;
}

void LogQueue::leave()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isWriterInside = false;
    m_progressed.notify_all();
}

LogQueue::ChunkPointer LogQueue::makeChunk(int textSize)
{
    const std::size_t needed
        = sizeof(Chunk) + static_cast<std::size_t>(textSize) * sizeof(ushort) + sizeof(Record) + alignof(Record);
    const std::size_t bytes = std::max(kChunkBytes, needed - needed % alignof(Record));
    void *const memory = std::malloc(bytes); // NOLINT(cppcoreguidelines-no-malloc): see FreeChunk
    if (memory == nullptr)
        return nullptr;
    ChunkPointer chunk(new (memory) Chunk);
    chunk->bytes = bytes;
    return chunk;
}

// Made and filled before the lock is taken: nobody has to wait while megabytes are copied.
LogQueue::ChunkPointer LogQueue::makeChunkIfLong(QStringView text)
{
    constexpr auto kLongest = static_cast<int>((kChunkBytes - sizeof(Chunk) - sizeof(Record)) / sizeof(ushort));
    if (text.size() <= kLongest)
        return nullptr;
    ChunkPointer chunk = makeChunk(static_cast<int>(text.size()));
    if (chunk != nullptr)
        std::copy_n(reinterpret_cast<const ushort *>(text.utf16()), text.size(), chunk->text());
    return chunk;
}

// Whether one line more may wait.
bool LogQueue::hasRoomForLine()
{
    m_isFull = m_waitingLines >= (m_isFull ? kRefillBelow : kMostWaitingLines);
    return !m_isFull;
}

// With `chunkOfItsOwn`, the text is there already. False when there is no memory.
bool LogQueue::append(const Record &record, QStringView text, ChunkPointer &chunkOfItsOwn)
{
    const std::size_t size = record.size;
    const bool isLong = chunkOfItsOwn != nullptr;
    if (isLong || m_tail == nullptr || !m_tail->hasRoom(size)) {
        ChunkPointer chunk = std::move(chunkOfItsOwn);
        if (chunk == nullptr && m_spare != nullptr) {
            --m_spareCount;
            chunk = std::exchange(m_spare, std::move(m_spare->next));
            chunk->records = 0;
            chunk->textSize = 0;
        }
        if (chunk == nullptr)
            chunk = makeChunk(0);
        if (chunk == nullptr || !chunk->hasRoom(size))
            return false;
        Chunk *const appended = chunk.get();
        (m_tail == nullptr ? m_head : m_tail->next) = std::move(chunk);
        m_tail = appended;
    }
    if (!isLong)
        std::copy_n(reinterpret_cast<const ushort *>(text.utf16()), size, m_tail->text() + m_tail->textSize);
    *(m_tail->firstRecord() - m_tail->records) = record;
    m_tail->textSize += size;
    ++m_tail->records;
    ++m_pushed;
    m_waitingLines += record.kind == Kind::Clear ? 0 : 1;
    return true;
}

void LogQueue::countHandled(int entries)
{
    m_handled += static_cast<quint64>(entries);
    if (m_handled < m_awaited)
        return;
    m_awaited = std::numeric_limits<quint64>::max(); // Whoever has to wait on says so again.
    m_progressed.notify_all();
}

void LogQueue::unlockAndWake(std::unique_lock<std::mutex> &lock, bool isForEntries)
{
    const bool wakes = m_sleep == Sleep::UntilEntries || (m_sleep == Sleep::UntilEvents && !isForEntries);
    if (wakes)
        m_sleep = Sleep::None;
    lock.unlock();
    if (wakes)
        m_woken.notify_one();
}

const LogQueue::Record &QueuedEntries::record(int index) const
{
    return *(m_records - index);
}

LogQueue::Entry QueuedEntries::at(int index) const
{
    std::size_t before = 0;
    for (int i = 0; i < index; ++i)
        before += record(i).size;
    const LogQueue::Record &found = record(index);
    return {found.kind, static_cast<unsigned long>(found.category), {m_text + before, qsizetype(found.size)}};
}

QStringView QueuedEntries::text(int entries) const
{
    qsizetype size = 0;
    for (int i = 0; i < entries; ++i)
        size += qsizetype(record(i).size);
    return {m_text, size};
}

int QueuedEntries::lines(qint64 mostText) const
{
    int lines = 0;
    for (qint64 size = 0; lines < m_count; ++lines) {
        const LogQueue::Record &next = record(lines);
        size += next.size;
        if (next.kind != LogQueue::Kind::Line || next.category != record(0).category || size > mostText)
            break;
    }
    return lines;
}

bool QueuedEntries::isUrgent(int entries) const
{
    for (int i = 0; i < entries; ++i) {
        if (record(i).isUrgent)
            return true;
    }
    return false;
}

void QueuedEntries::dropFirst(int entries)
{
    m_text += text(entries).size();
    m_records -= entries;
    m_count -= entries;
}
