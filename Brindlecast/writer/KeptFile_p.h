// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <atomic>
#include <memory>

/**
 * A file in memory that outlives its process: what the process has stored in it, its successor finds there, up to the
 * last instruction that was executed.
 *
 * It holds chunks for a queue, the names of the open log files, what is being written to one of them, and how many
 * lines wait outside the file. Every store leaves it in a state that can be taken up. Nothing in it is a path or a
 * pointer, and nothing that is read from a predecessor is believed unchecked.
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
        // A process that is killed has executed its stores in the order of its instructions: the compiler is all that
        // has to be kept from changing it.
        std::atomic_signal_fence(std::memory_order_seq_cst);
        field.store(value, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    /**
     * Opens the file, making it if it is missing, with room for at least `bytes` of chunks; null when it is not safely
     * ours. Looks up whether a predecessor's last write has reached its log file; if not, takes it back from there.
     */
    static std::unique_ptr<KeptFile> open(const QByteArray &path, int bytes);
    ~KeptFile();
    Q_DISABLE_COPY(KeptFile)

    /** Lets go of the lock that a forked child has got from its parent. */
    void leaveInChild();

    int chunks() const;
    /** The memory of a chunk, from a predecessor or all zeros. */
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
        quint32 settledOutside = 0; ///< The lines that have been outside the file, once these are written.
    };
    /** These records, which have those bytes, are going to be appended to their file, whose size is `begin`. */
    void intend(const Records &records, qint64 begin, const QByteArray &bytes);
    /** The bytes are in the file and the records are marked, or neither. */
    void withdraw();
    /** The records that a predecessor wrote but could not mark; null when there are none. */
    std::unique_ptr<Records> writtenRecords() const;

    // Lines that wait, or were dropped, outside the file.

    void addOutside(quint32 lines);
    void settleOutside(quint32 lines);
    quint32 settledOutside() const;
    /** How many there are. */
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
