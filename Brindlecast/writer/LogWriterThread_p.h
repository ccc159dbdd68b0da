// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDeadlineTimer>
#include <QThread>

#include <functional>

class LogQueue;
class LogWriterWorker;

/**
 * The writer thread: has the worker write what waits in the queue until it is asked to end.
 *
 * QThread::terminate() cancels a thread wherever it is; under load, that crashes the host within a few stops. So the
 * thread is first asked to end, which it does between two writes. It is cancelled only when the disk keeps it from
 * ending in time, and only inside a system call that allows it (Cancellation::EnabledScope).
 *
 * begin() and end() are called alternately, by one thread at a time, never by this thread itself.
 */
class LogWriterThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(LogWriterThread)

public:
    /** `queue` and `worker` must outlive the thread. */
    LogWriterThread(LogQueue &queue, LogWriterWorker &worker);

    /** Starts the thread; false when the system has no thread left. */
    bool begin();

    /**
     * Ends the thread; true when it has ended, false at `limit`. What waits stays in the queue.
     *
     * The current write is finished, unless that takes longer than two seconds or half of the time until `limit`.
     */
    bool end(QDeadlineTimer limit);

    /** Whether the calling thread is the writer thread. */
    static bool isCurrent();

    /**
     * Runs code of a host on the writer thread, inside the handling of an event, so that deleteLater() and event loops
     * work there as usual; then calls endIfForked().
     */
    static void callHost(const std::function<void()> &code);

    /**
     * To be called on the writer thread after a host's code has run there, because that may have forked. In the child,
     * this would be the only thread and write everything again; so it ends the child.
     */
    static void endIfForked();

protected:
    void run() override;

private:
    LogQueue &m_queue;
    LogWriterWorker &m_worker;
};
