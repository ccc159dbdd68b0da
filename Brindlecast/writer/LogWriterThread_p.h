// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDeadlineTimer>
#include <QThread>

#include <functional>

class LogQueue;
class LogWriterWorker;

/**
 * The writer thread: has the worker write what waits in the queue until it is told to end.
 *
 * QThread::terminate() cancels a thread wherever it is, which under load takes the host down within a few stops. So the
 * thread is asked first, and ends between two writes. Only one that does not end in time, since the disk holds it up,
 * is really cancelled, as soon as it is in a system call that allows that (Cancellation::EnabledScope).
 *
 * begin() and end() are called by turns, by one thread at a time, from any thread but this one.
 */
class LogWriterThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(LogWriterThread)

public:
    /** Both have to outlive the thread. */
    LogWriterThread(LogQueue &queue, LogWriterWorker &worker);

    /** Starts the thread; false when the system has none to give. */
    bool begin();

    /**
     * Ends the thread; true when it has ended, false when `limit` came first. What waits stays in the queue.
     *
     * The write in hand is finished, unless that takes longer than two seconds or half of the time until `limit`.
     */
    bool end(QDeadlineTimer limit);

    /** Whether the calling thread is the writer thread. */
    static bool isCurrent();

    /**
     * Runs code of a host on the writer thread, within an event, so that deleteLater() and event loops work there as a
     * host knows them; then endIfForked().
     */
    static void callHost(const std::function<void()> &code);

    /**
     * To be called on the writer thread after a host's code has run there: that may have forked. The child, in which
     * this is the only thread, ends then instead of writing everything once more.
     */
    static void endIfForked();

protected:
    void run() override;

private:
    LogQueue &m_queue;
    LogWriterWorker &m_worker;
};
