// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "EntryStore_p.h"

#include <Brindlecast/FileIOObject.h>

#include <QDeadlineTimer>
#include <QStringView>
#include <QtGlobal>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>

class QObject;

/** What became of a line that was pushed. */
enum class LineOutcome {
    Pushed,
    Dropped, ///< Too many lines wait, or no memory is left. The queue has counted it.
    Refused, ///< The queue is not open.
    ToBeEmitted, ///< Not pushed. The caller emits the line as a request and then calls endEmission().
    NoticeDue ///< Not pushed. Lines were dropped before; the caller reports how many, and tries again.
};

/**
 * The one queue between the threads that raise messages and the writer thread.
 *
 * It holds lines, requests and clears in the order in which they were pushed, limits the number of lines and counts
 * those it dropped. The writer thread sleeps in it. To push, a thread takes the lock, copies the text, and wakes the
 * writer if that sleeps.
 *
 * The same lock protects the phase of the logger's life. So a line is either pushed before the queue is closed, or it
 * is refused; closing waits for no thread.
 *
 * Entries are "removed" when the writer has taken them off the front, and "handled" when all that they cause is done.
 *
 * Thread safety: thread-safe but for the operations of the writer thread. There is one queue, which is never destroyed.
 * In a forked child, a thread that does not exist there may hold the lock: ask phase() before anything else.
 */
class LogQueue
{
public:
    enum class Phase {
        Gone, ///< No logger: none has been made yet, the process exits, or this is a forked child.
        Open, ///< Lines are accepted.
        Closed ///< The application object has been destroyed. Until a new one exists, nothing is accepted.
    };

    /** Further lines are dropped. */
    static constexpr int kMostWaitingLines = 262144;

    static LogQueue &instance()
    {
        // Never destroyed, because threads may log until the process has ended.
        static auto &queue = *new LogQueue;
        return queue;
    }

    Q_DISABLE_COPY(LogQueue)

    // The logger's life.

    /** Takes no lock, so a forked child may ask, too. */
    Phase phase() const { return m_phase.load(std::memory_order_acquire); }
    /** Accepts lines from now on. */
    void open();
    /** Appends a last clear, if `appendsClear`, and refuses everything from now on. */
    void close(bool appendsClear);
    /** Ends the logger's life; true when no emission is under way, so that the logger can be destroyed. */
    bool retire();
    /** Ends the logger's life in a forked child, without taking the lock. */
    void retireInChild();
    /**
     * Keeps what waits in a file from now on, as far as there is room. What the process before left there comes first,
     * with `notice` in the place of `lostLines` missing ones, and with a clear at its end.
     *
     * False when lines are kept or wait already, or the writer was started before. To be called while it does not run.
     */
    bool keep(std::unique_ptr<KeptFile> file, QStringView notice, quint32 lostLines);
    /** Whether keep() would return false, or the logger's life has ended. */
    bool isInUse();

    // Threads that raise messages.

    /** Pushes a line, unless a host can see its signal or has blocked it: `emitter` is the logger. */
    LineOutcome push(QStringView text, unsigned long category, const QObject &emitter, bool isUrgent = false);
    /** Pushes the lines of a request and holds the request until they are removed; false when the queue is not open. */
    bool pushRequest(const FileIOObjectPointer &request);
    void pushClear();
    /** From now on, push() lets the caller emit every line. */
    void setObserved();
    /** Keeps the logger from being destroyed until endEmission(); false when it may be destroyed already. */
    bool beginEmission();
    void endEmission();
    /** The number of lines dropped since the last call, which the caller is going to report. */
    quint64 takeDropped();
    /** Adds lines that were dropped or could not be reported. */
    void addDropped(quint64 lines);

    // Threads that wait, or want to know.

    /**
     * Waits until all that was pushed before is handled; true when it is, and the newest line is written. False at the
     * limit, and at once when the writer is not serving. With an expired `limit` it returns at once.
     */
    bool flush(QDeadlineTimer limit);
    /** Whether entries are not handled yet. */
    bool hasWaiting();
    /** The lines that wait, and those dropped and not reported. */
    quint64 unwrittenLines();

    // The thread that starts and stops the writer. The writer serves from its start until it is asked to end.

    void beginServing();
    /** Asks the writer to end. */
    void endServing();
    /** Waits until the writer has called leave(); false when it has not by the time limit. */
    bool waitForWriterToLeave(QDeadlineTimer limit);

    // The writer thread.

    bool isServing() const { return m_isServing.load(std::memory_order_relaxed) && phase() != Phase::Gone; }
    /**
     * Sleeps until `limit`, until wakeUp() or, with `wantsEntries`, until entries wait. The outer event loop also wakes
     * when the thread is asked to end.
     */
    void sleep(bool wantsEntries, bool isOuterLoop, QDeadlineTimer limit = QDeadlineTimer(QDeadlineTimer::Forever));
    /** Wakes the writer up, because an event was posted. Any thread may call it. */
    void wakeUp();
    /** Whether wakeUp() was called since the last call. */
    bool takeWakeUp();
    /** The entries at the front that lie in one chunk. */
    QueuedEntries front();
    /**
     * Removes the first entries; their text must not be read any more. They count as handled if `isHandled`, else
     * once addHandled() is called. `isWritten` says whether the newest line is in its file.
     *
     * @return whether the writer is to go on.
     */
    bool removeFront(int entries, EntryFate fate, bool isHandled, bool isWritten);
    void addHandled(int entries);
    /** Returns the request whose entry was removed first. Release it outside any lock: that may run a host's code. */
    FileIOObjectPointer takeRemovedRequest();
    /** Notes that the writer has ended. To be called last. */
    void leave();

    // The writer thread, when lines are kept. removeFront(), settleBacklog() and KeptFile::withdraw() end an intent.

    /** Notes that the first `entries`, all of one category, are about to be written as `bytes`; there may be none. */
    void intend(unsigned long category, int entries, qint64 begin, const QByteArray &bytes);
    /** Notes that the backlog of a category is about to be written as `bytes`. */
    void intendBacklog(unsigned long category, qint64 begin, const QByteArray &bytes);
    void settleBacklog(unsigned long category);
    /** Null when no lines are kept. Only the names and withdraw() may be used without the queue's lock. */
    KeptFile *kept() const { return m_entries.kept(); }

private:
    enum class Sleep { None, UntilEvents, UntilEntries };

    LogQueue() = default;

    bool hasRoomForLine();
    void countDropped(quint64 lines);
    void countHandled(int entries);
    void unlockAndWake(std::unique_lock<std::mutex> &lock, bool isForEntries);

    // written under m_mutex, except by takeWakeUp() and, in a forked child, retireInChild():
    std::atomic<Phase> m_phase{Phase::Gone};
    std::atomic<bool> m_isServing{false};
    std::atomic<bool> m_hasEvents{false};

    std::mutex m_mutex;
    std::condition_variable m_woken;
    std::condition_variable m_progressed;
    // protected by m_mutex:
    EntryStore m_entries;
    std::deque<FileIOObjectPointer> m_requests;
    quint64 m_handled = 0;
    quint64 m_awaited = std::numeric_limits<quint64>::max(); // How many must be handled to wake the first flush.
    quint64 m_droppedLines = 0;
    int m_emissions = 0;
    bool m_isFull = false;
    bool m_isObserved = false;
    bool m_hasServed = false;
    bool m_isWriterInside = false;
    bool m_isNewestLineWritten = true;
    Sleep m_sleep = Sleep::None;
};
