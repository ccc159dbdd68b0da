// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogQueue_p.h"

#include "KeptFile_p.h"
#include "LogWriterThread_p.h"

#include <Brindlecast/LogCategory_p.h>

#include <QObject>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kChunkBytes = KeptFile::kChunkBytes;
constexpr quint64 kGreatestNumber = std::numeric_limits<quint64>::max() / 2;
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

    bool isLine() const { return kind == Kind::Line || kind == Kind::Request; }
};

// What a successor finds of a chunk. The texts follow.
struct LogQueue::ChunkData
{
    quint64 number; // They ascend. Written only while there are no records.
    std::atomic<quint32> records; // Stored after the record.
    quint32 unused;
};

struct alignas(8) LogQueue::Chunk
{
    ushort *text() { return reinterpret_cast<ushort *>(data + 1); }
    Record *firstRecord() { return reinterpret_cast<Record *>(reinterpret_cast<char *>(data) + bytes) - 1; }
    bool hasRoom(std::size_t size) const
    {
        return sizeof(ChunkData) + (textSize + size) * sizeof(ushort) + (records + 1) * sizeof(Record) <= bytes;
    }

    ChunkPointer next;
    ChunkData *data = nullptr; // Behind this, or in the kept file.
    std::size_t bytes = 0; // Of the data.
    std::size_t textSize = 0;
    quint32 records = 0;
    quint32 held = 0; // Records that have been read, but are not settled.
    quint32 linesPerRecord = 1; // How many lines are lost with one.
    bool isKept = false;
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

void LogQueue::forsake()
{
    m_phase.store(Phase::Gone, std::memory_order_release);
    if (m_kept != nullptr)
        m_kept->leaveInChild();
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
        countDropped(1);
        return LineOutcome::Dropped;
    }
    if (m_droppedLines > 0)
        return LineOutcome::NoticeDue;
    if (m_isObserved || emitter.signalsBlocked()) {
        ++m_emissions;
        return LineOutcome::ToBeEmitted;
    }
    if (!append({category, static_cast<quint32>(text.size()), Kind::Line, isUrgent}, text, longChunk)) {
        countDropped(1);
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
        countDropped(1);
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
    if (m_kept != nullptr)
        m_kept->settleOutside(static_cast<quint32>(m_droppedLines));
    return std::exchange(m_droppedLines, 0);
}

void LogQueue::addDropped(quint64 lines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    countDropped(lines);
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

bool LogQueue::settle(int entries, EntryFate fate, bool isHandled, bool isWritten)
{
    ChunkPointer surplus;
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (int i = 0; i < entries; ++i) {
        Record &record = *(m_head->firstRecord() - m_readRecords);
        ++m_readRecords;
        m_readText += record.size;
        m_waitingLines -= record.isLine() ? 1 : 0;
        if (m_kept == nullptr || record.kind == Kind::Settled)
            continue;
        // What has no file is left to a successor, unless it takes up memory.
        if (fate == EntryFate::Settled || (fate == EntryFate::Unwritable && !m_head->isKept))
            settleRecord(*m_head, record);
        else
            ++m_head->held;
    }
    if (m_kept != nullptr)
        m_kept->withdraw();
    if (m_readRecords == m_head->records) {
        m_readRecords = 0;
        m_readText = 0;
        surplus = std::exchange(m_head, std::move(m_head->next));
        m_tail = m_head == nullptr ? nullptr : m_tail;
        if (surplus->held > 0) {
            surplus->next = std::move(m_held);
            m_held = std::move(surplus);
        } else {
            surplus = recycle(std::move(surplus));
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
        = sizeof(ChunkData) + static_cast<std::size_t>(textSize) * sizeof(ushort) + sizeof(Record) + alignof(Record);
    const std::size_t bytes = std::max(kChunkBytes, needed - needed % alignof(Record));
    void *const memory = std::malloc(sizeof(Chunk) + bytes); // NOLINT(cppcoreguidelines-no-malloc): see FreeChunk
    if (memory == nullptr)
        return nullptr;
    ChunkPointer chunk(new (memory) Chunk);
    chunk->bytes = bytes;
    chunk->data = new (chunk.get() + 1) ChunkData();
    return chunk;
}

// Made and filled before the lock is taken: nobody has to wait while megabytes are copied.
LogQueue::ChunkPointer LogQueue::makeChunkIfLong(QStringView text)
{
    constexpr auto kLongest = static_cast<int>((kChunkBytes - sizeof(ChunkData) - sizeof(Record)) / sizeof(ushort));
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
        if (chunk == nullptr)
            chunk = takeSpare();
        if (chunk == nullptr || !chunk->hasRoom(size))
            return false;
        chunk->data->number = m_nextNumber++;
        Chunk *const appended = chunk.get();
        (m_tail == nullptr ? m_head : m_tail->next) = std::move(chunk);
        m_tail = appended;
    }
    if (!isLong)
        std::copy_n(reinterpret_cast<const ushort *>(text.utf16()), size, m_tail->text() + m_tail->textSize);
    *(m_tail->firstRecord() - m_tail->records) = record;
    m_tail->textSize += size;
    ++m_tail->records;
    KeptFile::publish(m_tail->data->records, m_tail->records);
    ++m_pushed;
    m_waitingLines += record.isLine() ? 1 : 0;
    if (m_kept != nullptr && !m_tail->isKept && record.isLine())
        m_kept->addOutside(1);
    return true;
}

LogQueue::ChunkPointer LogQueue::takeSpare()
{
    ChunkPointer &spare = m_spareKept != nullptr ? m_spareKept : m_spare;
    if (spare == nullptr)
        return makeChunk(0);
    m_spareCount -= spare->isKept ? 0 : 1;
    ChunkPointer chunk = std::exchange(spare, std::move(spare->next));
    chunk->records = 0;
    chunk->textSize = 0;
    return chunk;
}

// Keeps a chunk for later; returns one that is not needed any more.
LogQueue::ChunkPointer LogQueue::recycle(ChunkPointer chunk)
{
    KeptFile::publish(chunk->data->records, 0);
    if (!chunk->isKept && (chunk->bytes != kChunkBytes || m_spareCount >= kMostSpareChunks))
        return chunk;
    m_spareCount += chunk->isKept ? 0 : 1;
    ChunkPointer &spare = chunk->isKept ? m_spareKept : m_spare;
    chunk->linesPerRecord = 1;
    chunk->next = std::move(spare);
    spare = std::move(chunk);
    return nullptr;
}

void LogQueue::countDropped(quint64 lines)
{
    m_droppedLines += lines;
    if (m_kept != nullptr)
        m_kept->addOutside(static_cast<quint32>(lines));
}

void LogQueue::settleRecord(Chunk &chunk, Record &record)
{
    if (!chunk.isKept && record.isLine())
        m_kept->settleOutside(chunk.linesPerRecord);
    record.kind = Kind::Settled;
}

// Records that have been read and wait for their file. Chunks that have no such records afterwards are used again.
template <typename Action> void LogQueue::forEachHeld(quint64 category, const Action &act)
{
    const auto actOnChunk = [&](Chunk &chunk, quint32 records) {
        for (quint32 i = 0; i < records && chunk.held > 0; ++i) {
            Record &record = *(chunk.firstRecord() - i);
            if (record.isLine() && record.category == category)
                act(chunk, record);
        }
    };
    if (m_head != nullptr)
        actOnChunk(*m_head, m_readRecords);
    for (ChunkPointer *chunk = &m_held; *chunk != nullptr;) {
        actOnChunk(**chunk, (*chunk)->records);
        if ((*chunk)->held > 0) {
            chunk = &(*chunk)->next;
        } else {
            ChunkPointer settled = std::move(*chunk);
            *chunk = std::move(settled->next);
            recycle(std::move(settled));
        }
    }
}

void LogQueue::intend(unsigned long category, int entries, qint64 begin, const QByteArray &bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    KeptFile::Records records;
    records.category = category;
    records.settledOutside = m_kept->settledOutside();
    if (entries > 0) {
        records.endChunk = m_head->data->number;
        records.endRecord = m_readRecords + static_cast<quint32>(entries);
        records.settledOutside += m_head->isKept ? 0 : static_cast<quint32>(entries) * m_head->linesPerRecord;
    }
    m_kept->intend(records, begin, bytes);
}

void LogQueue::intendBacklog(unsigned long category, qint64 begin, const QByteArray &bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    KeptFile::Records records;
    records.category = category;
    records.endChunk = m_head != nullptr ? m_head->data->number : m_nextNumber;
    records.endRecord = m_readRecords;
    records.settledOutside = m_kept->settledOutside();
    forEachHeld(category, [&records](const Chunk &chunk, const Record &) {
        records.settledOutside += chunk.isKept ? 0 : chunk.linesPerRecord;
    });
    m_kept->intend(records, begin, bytes);
}

void LogQueue::withdraw()
{
    m_kept->withdraw();
}

void LogQueue::settleBacklog(unsigned long category)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    forEachHeld(category, [this](Chunk &chunk, Record &record) {
        settleRecord(chunk, record);
        --chunk.held;
    });
    m_kept->withdraw();
}

void LogQueue::setFileName(unsigned long category, const QByteArray &name)
{
    m_kept->setName(category, name);
}

QByteArray LogQueue::fileName(unsigned long category) const
{
    return m_kept->name(category);
}

void LogQueue::forgetFiles()
{
    m_kept->forgetNames();
}

bool LogQueue::isInUse()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_kept != nullptr || m_isServing || m_head != nullptr || phase() == Phase::Gone;
}

bool LogQueue::keep(std::unique_ptr<KeptFile> file, QStringView notice, quint32 lostLines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_kept != nullptr || m_isServing || m_head != nullptr)
        return false;
    takeUp(*file);
    file->withdraw();
    m_kept = file.release();
    if (lostLines > 0)
        insertNotice(notice, lostLines);
    ChunkPointer none;
    if (m_head != nullptr)
        append({0, 0, Kind::Clear, false}, {}, none);
    else
        m_kept->forgetNames();
    return true;
}

// Links the chunks of a predecessor as the head of the queue, the others as spare ones. Each is read as far as it makes
// sense.
void LogQueue::takeUp(const KeptFile &file)
{
    const std::unique_ptr<KeptFile::Records> written = file.writtenRecords();
    std::vector<ChunkPointer> found;
    m_nextNumber = 1;
    for (int index = 0; index < file.chunks(); ++index) {
        void *const memory = std::malloc(sizeof(Chunk)); // NOLINT(cppcoreguidelines-no-malloc): see FreeChunk
        if (memory == nullptr)
            continue; // A successor may have more.
        ChunkPointer chunk(new (memory) Chunk);
        chunk->data = static_cast<ChunkData *>(file.chunk(index));
        chunk->bytes = kChunkBytes;
        chunk->isKept = true;
        const quint64 number = chunk->data->number;
        const quint32 records = number > 0 && number < kGreatestNumber ? chunk->data->records.load() : 0;
        bool isSettled = true;
        while (chunk->records < records && chunk->hasRoom(0)) {
            Record &record = *(chunk->firstRecord() - chunk->records);
            if (record.size > kChunkBytes || !chunk->hasRoom(record.size) || record.kind > Kind::Settled)
                break;
            if (record.kind == Kind::Request)
                record.kind = Kind::Line; // The request itself is gone.
            const bool isWritten = written != nullptr && record.isLine() && record.category == written->category
                && (number < written->endChunk || (number == written->endChunk && chunk->records < written->endRecord));
            if (isWritten)
                record.kind = Kind::Settled;
            isSettled = isSettled && record.kind == Kind::Settled;
            chunk->textSize += record.size;
            ++chunk->records;
        }
        if (isSettled) {
            recycle(std::move(chunk));
        } else {
            KeptFile::publish(chunk->data->records, chunk->records);
            found.push_back(std::move(chunk));
        }
    }
    std::sort(found.begin(), found.end(), [](const ChunkPointer &one, const ChunkPointer &other) {
        return one->data->number < other->data->number;
    });
    for (ChunkPointer &chunk : found) {
        if (chunk->data->number < m_nextNumber) { // Two of the same number are none of ours.
            recycle(std::move(chunk));
            continue;
        }
        for (quint32 i = 0; i < chunk->records; ++i)
            m_waitingLines += (chunk->firstRecord() - i)->isLine() ? 1 : 0;
        m_pushed += chunk->records;
        m_nextNumber = chunk->data->number + 1;
        Chunk *const appended = chunk.get();
        (m_tail == nullptr ? m_head : m_tail->next) = std::move(chunk);
        m_tail = appended;
    }
}

// Where numbers are missing: those were the numbers of chunks outside the file.
void LogQueue::insertNotice(QStringView notice, quint32 lostLines)
{
    ChunkPointer chunk = makeChunk(static_cast<int>(notice.size()));
    if (chunk == nullptr)
        return; // A successor tells.
    ChunkPointer *gap = nullptr;
    ChunkPointer *end = &m_head;
    for (; *end != nullptr; end = &(*end)->next) {
        const ChunkPointer &next = (*end)->next;
        if (next != nullptr && next->data->number > (*end)->data->number + 1)
            gap = &(*end)->next;
    }
    ChunkPointer *const place = gap != nullptr ? gap : end;
    if (gap != nullptr) {
        chunk->data->number = (*gap)->data->number - 1;
    } else {
        chunk->data->number = m_nextNumber++;
        m_tail = chunk.get();
    }
    // No room for another record, which would be lost alone.
    chunk->bytes = sizeof(ChunkData) + sizeof(Record)
        + (static_cast<std::size_t>(notice.size()) * sizeof(ushort) + alignof(Record) - 1) / alignof(Record)
            * alignof(Record);
    std::copy_n(reinterpret_cast<const ushort *>(notice.utf16()), notice.size(), chunk->text());
    *chunk->firstRecord() = {LogCategory::kMessage, static_cast<quint32>(notice.size()), Kind::Line, false};
    chunk->textSize = static_cast<std::size_t>(notice.size());
    chunk->records = 1;
    chunk->linesPerRecord = lostLines;
    chunk->next = std::move(*place);
    *place = std::move(chunk);
    ++m_pushed;
    ++m_waitingLines;
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
