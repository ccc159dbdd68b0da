// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <atomic>
#include <memory>

/**
 * A mapped file in memory that outlives its process: the next process, the successor, finds all that this one stored.
 *
 * It holds chunks for a queue, the names of the open log files, the intent (what is about to be written to one of
 * them), and how many lines wait outside the file. The process may be killed after any store: the successor can read
 * the file in every state. It holds neither paths nor pointers, and the successor checks all that it reads.
 *
 * Thread safety: reentrant. The names and the intent belong to the writer thread, the rest is guarded by the queue.
 */
class KeptFile
{
public:
    static constexpr std::size_t kChunkBytes = std::size_t{32} * 1024;

    /** Stores a value after all earlier stores and before all later ones, as a successor sees them. */
    static void publish(std::atomic<quint32> &field, quint32 value)
    {
        // A killed process has executed its stores in the order of its instructions. So only the compiler must be kept
        // from reordering them.
        std::atomic_signal_fence(std::memory_order_seq_cst);
        field.store(value, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    /**
     * Opens the file, or makes it, with room for at least `bytes` of chunks. If the process before died in a write,
     * finds out whether the log file holds all of it, and cuts a part of it off.
     *
     * @return null when the file is not safely this user's and this process's alone, when there is no room for it, and
     * when the log file can't be read now.
     */
    static std::unique_ptr<KeptFile> open(const QByteArray &path, int bytes);
    ~KeptFile();
    Q_DISABLE_COPY(KeptFile)

    /** Gives up, in a forked child, its share of the parent's lock. */
    void leaveInChild();

    int chunks() const;
    /** The memory of a chunk: as the process before left it, or all zeros. */
    void *chunk(int index) const;

    // The names of the open log files.

    void setName(unsigned long category, const QByteArray &name);
    /** Empty when there is none. */
    QByteArray name(unsigned long category) const;
    void forgetNames();

    // What is being written.

    /** All waiting records of a category before a position in the queue. */
    struct Records
    {
        quint64 category = 0;
        quint64 endChunk = 0;
        quint32 endRecord = 0;
        quint32 settledOutside = 0; ///< What settledOutside() is to return once these are written.
    };
    /** Notes the intent to append `bytes`, the text of `records`, to their log file, whose size is `begin`. */
    void intend(const Records &records, qint64 begin, const QByteArray &bytes);
    /** Takes the intent back: the bytes are in the log file and the records are marked as settled, or neither. */
    void withdraw();
    /** The records that the process before wrote but did not mark; null when there are none. */
    std::unique_ptr<Records> writtenRecords() const;

    // Lines that wait, or were dropped, outside the file.

    void addOutside(quint32 lines);
    /** Notes that so many of them are written, or reported as lost. */
    void settleOutside(quint32 lines);
    /** How many were noted by settleOutside() so far. */
    quint32 settledOutside() const;
    /** How many were added and not settled. */
    quint32 linesOutside() const;

private:
    struct Name;
    struct Intent;
    struct Header;
    enum Progress : quint32 { None, Begun, Written };

    explicit KeptFile(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    static bool isOurs(int descriptor);
    bool map(int bytes);
    bool settleIntent();

    int m_descriptor = -1;
    Header *m_header = nullptr;
    std::size_t m_mappedBytes = 0;
};
