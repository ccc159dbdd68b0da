// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "QueuedEntries_p.h"

#include <QByteArray>

#include <memory>

class KeptFile;

/** What became of entries that the writer has dealt with. */
enum class EntryFate : int {
    Settled, ///< They are in their file, or dropped.
    Waiting, ///< They are in the backlog of their file.
    Unwritable ///< They have no file, or too many wait for it.
};

/**
 * The memory of the queue: entries in the order in which they were appended, in chunks that are used again. Texts lie
 * in a chunk from the front, records of them from the back.
 *
 * keep() has the chunks lie in a file that outlives the process, as far as they find room there. Then an entry that has
 * been read counts as long as it is not settled, because a successor writes what is left.
 *
 * Thread safety: guarded by the queue. The memory of entries at the front is read without the lock, because it does not
 * change before they are settled.
 */
class EntryStore
{
public:
    EntryStore();
    ~EntryStore();
    Q_DISABLE_COPY(EntryStore)

    bool isEmpty() const { return m_head == nullptr; }
    /** How many entries were appended so far. */
    quint64 appended() const { return m_appended; }
    /** How many lines wait. */
    int lines() const { return m_lines; }

    /** False when there is no memory. */
    bool append(const QueuedEntry &entry);
    /** The entries at the front, as far as they lie together. */
    QueuedEntries front() const;
    /** Takes the first entries away; their text is gone. */
    void settle(int entries, EntryFate fate);

    /**
     * Keeps entries in a file from now on, and takes up what a predecessor left there, with `notice` where `lostLines`
     * are missing, and a clear after all of it. The store is empty before.
     */
    void keep(std::unique_ptr<KeptFile> file, QStringView notice, quint32 lostLines);
    /** Null when nothing is kept. */
    KeptFile *kept() const { return m_kept; }
    /** The first entries, which are of one category and may be none, are going to be written as `bytes`. */
    void intend(unsigned long category, int entries, qint64 begin, const QByteArray &bytes);
    /** What waits in the backlog of a category is. */
    void intendBacklog(unsigned long category, qint64 begin, const QByteArray &bytes);
    void settleBacklog(unsigned long category);

private:
    using Record = QueuedEntries::Record;
    struct ChunkData;
    struct Chunk;
    using ChunkPointer = std::unique_ptr<Chunk>;

    static ChunkPointer makeChunk(std::size_t textSize);
    ChunkPointer takeSpare();
    void recycle(ChunkPointer chunk);
    void link(ChunkPointer chunk);
    void settleRecord(const Chunk &chunk, Record &record);
    template <typename Action> void forEachHeld(quint64 category, const Action &act);
    void takeUp(const KeptFile &file);
    void insertNotice(QStringView notice, quint32 lostLines);

    ChunkPointer m_head;
    Chunk *m_tail = nullptr;
    quint32 m_readRecords = 0; // Of m_head.
    quint32 m_readText = 0;
    quint64 m_appended = 0;
    int m_lines = 0;
    ChunkPointer m_spare; // Those in the file come first.
    int m_spareCount = 0; // Of those that are not.

    KeptFile *m_kept = nullptr; // Never destroyed, like the queue.
    ChunkPointer m_held; // Read, but with records that are not settled.
    quint64 m_nextNumber = 1;
};
