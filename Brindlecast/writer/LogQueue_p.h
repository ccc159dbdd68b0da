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
    Dropped, ///< Too many wait. The queue has counted it.
    Refused, ///< The queue is closed.
    ToBeEmitted, ///< Not pushed. The caller emits the signal within an emission that has begun, and then ends it.
    NoticeDue ///< Not pushed. Lines were dropped before; the caller reports how many, and tries again.
};

/**
 * The one queue between the threads that raise messages and the writer thread.
 *
 * It holds lines, requests and clears in the order in which they were pushed, bounds the lines, counts those it
 * dropped, and is where the writer thread sleeps. Pushing is a lock, a copy, and a wake-up if the writer sleeps.
 *
 * It also holds the phase of the logger's life, under the same lock: a line is in the queue before it is closed, or it
 * is refused. Nobody has to be waited for.
 *
 * Thread safety: thread-safe but for the operations of the writer thread. There is one queue, which is never destroyed.
 * A forked child may find the lock taken by a thread that it does not have; it must ask phase() before anything else.
 */
class LogQueue
{
public:
    enum class Phase {
        Gone, ///< No logger: none has been made yet, the process exits, or this is a forked child.
        Open, ///< Lines are taken.
        Closed ///< The application object has been destroyed. Until a new one exists, nothing is taken.
    };

    /** The most lines that wait. */
    static constexpr int kMostWaitingLines = 262144;

    static LogQueue &instance()
    {
        // Never destroyed, since threads may log until the last instruction of the process.
        static auto &queue = *new LogQueue;
        return queue;
    }

    Q_DISABLE_COPY(LogQueue)

    // The logger's life.

    /** Any thread may ask, and any process. */
    Phase phase() const { return m_phase.load(std::memory_order_acquire); }
    /** Takes lines from now on. */
    void open();
    /** Refuses everything from now on, but on the writer thread; appends a last clear before, if asked to. */
    void close(bool appendsClear);
    /** Ends the logger's life; true when no emission is going on, so that the logger can be destroyed. */
    bool retire();
    /** The same in a forked child, which takes no lock. */
    void forsake();
    /**
     * Keeps what waits in a file from now on, as far as there is room, and takes up what a predecessor left there: its
     * entries come first, with `notice` where `lostLines` are missing, and a clear after them.
     *
     * False when the queue is in use already. While the writer does not run only.
     */
    bool keep(std::unique_ptr<KeptFile> file, QStringView notice, quint32 lostLines);
    bool isInUse();

    // Threads that raise messages.

    /** Pushes a line of the logger, unless somebody could notice its signal: a host is connected, or it is blocked. */
    LineOutcome push(QStringView text, unsigned long category, const QObject &emitter, bool isUrgent = false);
    /** Pushes the lines of a request and keeps it until they are handled; false when the queue is closed. */
    bool pushRequest(const FileIOObjectPointer &request);
    void pushClear();
    /** From now on, lines are emitted. */
    void setObserved();
    /** False when the logger may be destroyed at any moment; otherwise endEmission() is to follow. */
    bool beginEmission();
    void endEmission();
    /** The number of lines dropped since the last call, which the caller is going to report. */
    quint64 takeDropped();
    /** Gives a number back that could not be reported. */
    void addDropped(quint64 lines);

    // Threads that wait, or want to know.

    /**
     * Waits until all that was pushed before has been handled; true when it has been, and the newest line is written.
     * False at once when the writer does not serve. With an expired `limit` it only asks.
     */
    bool flush(QDeadlineTimer limit);
    bool hasWaiting();
    /** The lines that will never be written if nobody serves any more. */
    quint64 unwrittenLines();

    // The thread that starts and stops the writer.

    void beginServing();
    void endServing();
    /** Waits until the writer has called leave(); false when it has not by the time limit. */
    bool waitForWriterToLeave(QDeadlineTimer limit);

    // The writer thread.

    bool isServing() const { return m_isServing.load(std::memory_order_relaxed) && phase() != Phase::Gone; }
    /**
     * Sleeps until `limit`, until wakeUp() or, if it `wantsEntries`, until there are some. The outer loop also when it
     * is to end.
     */
    void sleep(bool wantsEntries, bool isOuterLoop, QDeadlineTimer limit = QDeadlineTimer(QDeadlineTimer::Forever));
    /** Wakes the writer up, from any thread: somebody has posted an event. */
    void wakeUp();
    /** Whether wakeUp() was called since the last call. */
    bool takeWakeUp();
    /** The entries at the front, as far as they lie together. */
    QueuedEntries front();
    /**
     * Lets go of the first entries; their text is gone. They are handled now, or when addHandled() says so.
     *
     * @return whether the writer is to go on.
     */
    bool settle(int entries, EntryFate fate, bool isHandled, bool isWritten);
    void addHandled(int entries);
    /** The request whose entry was settled last. To be let go of outside any lock, since that may run a host's code. */
    FileIOObjectPointer takeSettledRequest();
    /** The writer's last act. */
    void leave();

    // The writer thread, for files that are kept. What is intended ends with settle(), settleBacklog() or withdraw().

    /** The first entries, which are of one category and may be none, are going to be written as `bytes`. */
    void intend(unsigned long category, int entries, qint64 begin, const QByteArray &bytes);
    /** What waits in the backlog of a category is. */
    void intendBacklog(unsigned long category, qint64 begin, const QByteArray &bytes);
    void settleBacklog(unsigned long category);
    /** Null when no lines are kept. Its names and withdraw() are used without the queue's lock. */
    KeptFile *kept() const { return m_entries.kept(); }

private:
    enum class Sleep { None, UntilEvents, UntilEntries };

    LogQueue() = default;

    bool hasRoomForLine();
    void countDropped(quint64 lines);
    void countHandled(int entries);
    void unlockAndWake(std::unique_lock<std::mutex> &lock, bool isForEntries);

    // written under m_mutex, but for the phase of a forked child:
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
    quint64 m_awaited = std::numeric_limits<quint64>::max(); // The least number handled that a flush waits for.
    quint64 m_droppedLines = 0;
    int m_emissions = 0;
    bool m_isFull = false;
    bool m_isObserved = false;
    bool m_hasServed = false;
    bool m_isWriterInside = false;
    bool m_isNewestLineWritten = true;
    Sleep m_sleep = Sleep::None;
};
