// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "QueuedEntries_p.h"

#include <QByteArray>

#include <memory>

class KeptFile;

/** What the writer did with the entries that it removes from the queue. */
enum class EntryFate : int {
    Settled, ///< Nothing is left to do: they are in their file, or were dropped.
    Waiting, ///< They are in the backlog of their file.
    Unwritable ///< They have no file, or its backlog is full.
};

/**
 * The memory of the queue: entries in the order in which they were appended, in chunks that are used again. A chunk
 * holds the texts from its front on, and one record for each text from its back on.
 *
 * After keep() the chunks lie in a file that outlives the process, as far as the file has room. An entry that was
 * removed from the queue stays in that file until it is settled. The next process writes the entries that are not.
 *
 * Thread safety: guarded by the queue. The writer thread calls intend() and passFront() without the lock, and reads the
 * memory of the entries at the front without it, because no other thread changes or removes them.
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
    /** The entries at the front that lie in one chunk. */
    QueuedEntries front() const;
    /** Goes past the first entries, whose text must not be read any more; returns how many lines they are. */
    int passFront(int entries, EntryFate fate);
    /** Removes the entries passed since the last call, which are `passedLines` lines. */
    void removePassed(int passedLines);

    /**
     * Keeps entries in a file from now on, and appends what the process before left there: with `notice` in the place
     * of `lostLines` missing ones, and with a clear at the end. The store must be empty.
     */
    void keep(std::unique_ptr<KeptFile> file, QStringView notice, quint32 lostLines);
    /** Null when nothing is kept. */
    KeptFile *kept() const { return m_kept; }
    /** Notes that the first `entries`, all of one category, are about to be written as `bytes`; there may be none. */
    void intend(unsigned long category, int entries, qint64 begin, const QByteArray &bytes);
    /** Notes that the backlog of a category is about to be written as `bytes`. */
    void intendBacklog(unsigned long category, qint64 begin, const QByteArray &bytes);
    /** Marks the entries in the backlog of a category as settled. */
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
    quint32 m_readRecords = 0; // How much of m_head was removed.
    quint32 m_readText = 0;
    quint64 m_appended = 0;
    int m_lines = 0;
    ChunkPointer m_spare; // Empty chunks to use again.
    int m_spareCount = 0; // How many of them are not in the kept file.

    KeptFile *m_kept = nullptr; // Never destroyed, like the queue.
    ChunkPointer m_held; // All records were removed, some are not settled.
    quint64 m_nextNumber = 1;
};
