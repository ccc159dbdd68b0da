// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "EntryStore_p.h"

#include "KeptFile_p.h"

#include <Brindlecast/LogCategory_p.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kChunkBytes = KeptFile::kChunkBytes;
constexpr quint64 kGreatestNumber = std::numeric_limits<quint64>::max() / 2;
constexpr int kMostSpareChunks = 8;

} // namespace

// The head of a chunk, which the next process reads. The texts follow it.
struct EntryStore::ChunkData
{
    quint64 number; // Ascends from chunk to chunk. Written only while there are no records.
    std::atomic<quint32> records; // Stored after the record that it counts.
    quint32 unused;
};

struct EntryStore::Chunk
{
    ushort *text() const { return reinterpret_cast<ushort *>(data + 1); }
    Record *record(quint32 index) const
    {
        return reinterpret_cast<Record *>(reinterpret_cast<char *>(data) + bytes) - 1 - index;
    }
    bool hasRoom(std::size_t size) const { return bytesFor(textSize + size, records + 1) <= bytes; }
    static constexpr std::size_t bytesFor(std::size_t textSize, std::size_t records)
    {
        constexpr std::size_t alignment = alignof(Record) - 1;
        return sizeof(ChunkData) + ((textSize * sizeof(ushort) + alignment) & ~alignment) + records * sizeof(Record);
    }

    ChunkPointer next;
    std::unique_ptr<char[]> memory; // Null if the chunk lies in the kept file.
    ChunkData *data = nullptr;
    std::size_t bytes = kChunkBytes; // Size of the data.
    std::size_t textSize = 0;
    quint32 records = 0;
    quint32 held = 0; // Records that were removed from the queue, but are not settled.
    quint32 linesPerRecord = 1; // A notice stands for all the lines that it reports as lost.

    bool isKept() const { return memory == nullptr; }
};

EntryStore::EntryStore() = default;
EntryStore::~EntryStore() = default;

bool EntryStore::append(const QueuedEntry &entry)
{
    const auto size = static_cast<std::size_t>(entry.text.size());
    if (m_tail == nullptr || !m_tail->hasRoom(size)) {
        ChunkPointer chunk = Chunk::bytesFor(size, 1) <= kChunkBytes ? takeSpare() : makeChunk(size);
        if (chunk == nullptr)
            return false;
        chunk->data->number = m_nextNumber++;
        link(std::move(chunk));
    }
    std::copy_n(reinterpret_cast<const ushort *>(entry.text.utf16()), size, m_tail->text() + m_tail->textSize);
    const Record record{entry.category, static_cast<quint32>(size), entry.kind, entry.isUrgent};
    *m_tail->record(m_tail->records) = record;
    m_tail->textSize += size;
    ++m_tail->records;
    KeptFile::publish(m_tail->data->records, m_tail->records);
    ++m_appended;
    m_lines += record.isLine() ? 1 : 0;
    if (m_kept != nullptr && !m_tail->isKept() && record.isLine())
        m_kept->addOutside(1);
    return true;
} // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): it loses sight of the list, which owns the chunk

QueuedEntries EntryStore::front() const
{
    if (m_head == nullptr)
        return {};
    return {m_head->text() + m_readText, m_head->record(m_readRecords),
            static_cast<int>(m_head->records - m_readRecords)};
}

int EntryStore::passFront(int entries, EntryFate fate)
{
    int passedLines = 0;
    for (int i = 0; i < entries; ++i) {
        Record &record = *m_head->record(m_readRecords);
        ++m_readRecords;
        m_readText += record.size;
        passedLines += record.isLine() ? 1 : 0;
        if (m_kept == nullptr || record.kind == EntryKind::Settled)
            continue;
        // The next process may write what has no file now, but only the kept file brings it there.
        if (fate == EntryFate::Settled || (fate == EntryFate::Unwritable && !m_head->isKept()))
            settleRecord(*m_head, record);
        else
            ++m_head->held;
    }
    if (m_kept != nullptr)
        m_kept->withdraw();
    return passedLines;
}

void EntryStore::removePassed(int passedLines)
{
    m_lines -= passedLines;
    if (m_readRecords < m_head->records)
        return;
    m_readRecords = 0;
    m_readText = 0;
    ChunkPointer read = std::exchange(m_head, std::move(m_head->next));
    m_tail = m_head == nullptr ? nullptr : m_tail;
    if (read->held > 0) {
        read->next = std::move(m_held);
        m_held = std::move(read);
    } else {
        recycle(std::move(read));
    }
}

void EntryStore::keep(std::unique_ptr<KeptFile> file, QStringView notice, quint32 lostLines)
{
    takeUp(*file);
    file->withdraw();
    m_kept = file.release();
    if (lostLines > 0)
        insertNotice(notice, lostLines);
    if (m_head != nullptr)
        append({EntryKind::Clear, 0, {}, false});
    else
        m_kept->forgetNames();
}

void EntryStore::intend(unsigned long category, int entries, qint64 begin, const QByteArray &bytes)
{
    KeptFile::Records records;
    records.category = category;
    records.settledOutside = m_kept->settledOutside();
    if (entries > 0) {
        records.endChunk = m_head->data->number;
        records.endRecord = m_readRecords + static_cast<quint32>(entries);
        records.settledOutside += m_head->isKept() ? 0 : static_cast<quint32>(entries) * m_head->linesPerRecord;
    }
    m_kept->intend(records, begin, bytes);
}

void EntryStore::intendBacklog(unsigned long category, qint64 begin, const QByteArray &bytes)
{
    KeptFile::Records records;
    records.category = category;
    records.endChunk = m_head != nullptr ? m_head->data->number : m_nextNumber;
    records.endRecord = m_readRecords;
    records.settledOutside = m_kept->settledOutside();
    forEachHeld(category, [&records](const Chunk &chunk, const Record &) {
        records.settledOutside += chunk.isKept() ? 0 : chunk.linesPerRecord;
    });
    m_kept->intend(records, begin, bytes);
}

void EntryStore::settleBacklog(unsigned long category)
{
    forEachHeld(category, [this](Chunk &chunk, Record &record) {
        settleRecord(chunk, record);
        --chunk.held;
    });
    m_kept->withdraw();
}

EntryStore::ChunkPointer EntryStore::makeChunk(std::size_t textSize)
{
    ChunkPointer chunk(new (std::nothrow) Chunk);
    if (chunk == nullptr)
        return nullptr;
    chunk->bytes = std::max(kChunkBytes, Chunk::bytesFor(textSize, 1));
    chunk->memory.reset(new (std::nothrow) char[chunk->bytes]);
    if (chunk->memory == nullptr)
        return nullptr;
    chunk->data = new (chunk->memory.get()) ChunkData();
    return chunk;
}

EntryStore::ChunkPointer EntryStore::takeSpare()
{
    if (m_spare == nullptr)
        return makeChunk(0);
    m_spareCount -= m_spare->isKept() ? 0 : 1;
    ChunkPointer chunk = std::exchange(m_spare, std::move(m_spare->next));
    chunk->records = 0;
    chunk->textSize = 0;
    return chunk;
}

void EntryStore::recycle(ChunkPointer chunk)
{
    KeptFile::publish(chunk->data->records, 0);
    if (!chunk->isKept()) {
        // Chunks outside a kept file are rare.
        if (m_kept != nullptr || chunk->bytes != kChunkBytes || m_spareCount >= kMostSpareChunks)
            return;
        ++m_spareCount;
    }
    chunk->next = std::move(m_spare);
    m_spare = std::move(chunk);
}

void EntryStore::link(ChunkPointer chunk)
{
    ChunkPointer &end = m_tail == nullptr ? m_head : m_tail->next;
    end = std::move(chunk);
    m_tail = end.get();
}

void EntryStore::settleRecord(const Chunk &chunk, Record &record)
{
    if (!chunk.isKept() && record.isLine())
        m_kept->settleOutside(chunk.linesPerRecord);
    record.kind = EntryKind::Settled;
}

// Acts on the lines of a category that were removed from the queue, but are not settled. Chunks without such lines are
// used again afterwards.
template <typename Action> void EntryStore::forEachHeld(quint64 category, const Action &act)
{
    const auto actOnChunk = [&](Chunk &chunk, quint32 records) {
        for (quint32 i = 0; i < records && chunk.held > 0; ++i) {
            Record &record = *chunk.record(i);
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

// Links the chunks in which the process before left entries as the head of the queue, the others as spare ones. A chunk
// is read up to its first record that is not valid.
void EntryStore::takeUp(const KeptFile &file)
{
    const std::unique_ptr<KeptFile::Records> written = file.writtenRecords();
    std::vector<ChunkPointer> found;
    m_nextNumber = 1;
    for (int index = 0; index < file.chunks(); ++index) {
        ChunkPointer chunk(new (std::nothrow) Chunk);
        if (chunk == nullptr)
            continue; // The next process may have more memory.
        chunk->data = static_cast<ChunkData *>(file.chunk(index));
        const quint64 number = chunk->data->number;
        const quint32 records = number > 0 && number < kGreatestNumber ? chunk->data->records.load() : 0;
        bool isSettled = true;
        while (chunk->records < records && chunk->hasRoom(0)) {
            Record &record = *chunk->record(chunk->records);
            if (record.size > kChunkBytes || !chunk->hasRoom(record.size) || record.kind > EntryKind::Settled)
                break;
            if (record.kind == EntryKind::Request)
                record.kind = EntryKind::Line; // The request itself is gone.
            const bool isWritten = written != nullptr && record.isLine() && record.category == written->category
                && (number < written->endChunk || (number == written->endChunk && chunk->records < written->endRecord));
            if (isWritten)
                record.kind = EntryKind::Settled;
            isSettled = isSettled && record.kind == EntryKind::Settled;
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
        if (chunk->data->number < m_nextNumber) { // The library never gives two chunks one number: the file is damaged.
            recycle(std::move(chunk));
            continue;
        }
        for (quint32 i = 0; i < chunk->records; ++i)
            m_lines += chunk->record(i)->isLine() ? 1 : 0;
        m_appended += chunk->records;
        m_nextNumber = chunk->data->number + 1;
        link(std::move(chunk));
    }
}

// Inserts it where chunk numbers are missing, because chunks outside the file had those; else at the end.
void EntryStore::insertNotice(QStringView notice, quint32 lostLines)
{
    const auto size = static_cast<std::size_t>(notice.size());
    ChunkPointer chunk = makeChunk(size);
    if (chunk == nullptr)
        return; // The next process reports the lines.
    ChunkPointer *place = &m_head;
    bool isGap = false;
    for (Chunk *former = m_head.get(); former != nullptr; former = former->next.get()) {
        const bool isLast = former->next == nullptr;
        const bool isBeforeGap = !isLast && former->next->data->number > former->data->number + 1;
        if (isBeforeGap || (isLast && !isGap))
            place = &former->next;
        isGap |= isBeforeGap;
    }
    if (isGap) {
        chunk->data->number = (*place)->data->number - 1;
    } else {
        chunk->data->number = m_nextNumber++;
        m_tail = chunk.get();
    }
    chunk->bytes = Chunk::bytesFor(size, 1); // No room for another record, which would count as many lost lines.
    std::copy_n(reinterpret_cast<const ushort *>(notice.utf16()), size, chunk->text());
    *chunk->record(0) = {LogCategory::kMessage, static_cast<quint32>(size), EntryKind::Line, false};
    chunk->textSize = size;
    chunk->records = 1;
    chunk->linesPerRecord = lostLines;
    chunk->next = std::move(*place);
    *place = std::move(chunk);
    ++m_appended;
    ++m_lines;
}
