// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QThread>

#include <atomic>
#include <condition_variable>
#include <mutex>

class LogWriterWorker;
class PostingGate;

/**
 * The writer thread: works off what is posted to the worker, and ends only at a point where ending is harmless.
 *
 * QThread::terminate() cancels a thread wherever it is, which under load takes the host down within a few stops. So the
 * loop is left first, between two requests, and the thread then waits, parked, until it is let go. Only one that does
 * not park in time, since the disk holds it up, is really cancelled, and parks as well while its stack is unwound.
 *
 * begin() and end() are called by turns, by one thread at a time, from any thread but this one.
 */
class LogWriterThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(LogWriterThread)

public:
    LogWriterThread();

    /** The worker that this thread serves; to be set before the first begin(), and to outlive the last end(). */
    void setWorker(LogWriterWorker *worker) { m_worker = worker; }

    /**
     * Starts the thread; false when the system has none to give. Without an application object the thread waits for
     * one, since Qt drops events until there is one.
     */
    bool begin(PostingGate &gate);

    /**
     * Ends the thread and waits for that. The request in hand is finished, unless that takes longer than two seconds;
     * all others stay, in order, for the next begin().
     */
    void end(PostingGate &gate);

    /** Whether the thread works requests off. Any thread may ask. */
    bool isServing() const { return m_isServing.load(); }

    /** Whether the calling thread is a writer thread. */
    static bool isCurrent();

protected:
    void run() override;

private:
    enum Stage { Begun, Cancellable, Parked, LetGo };

    bool waitForApplication();
    void park();
    void reach(Stage stage);
    bool waitFor(Stage stage, int timeoutMs = -1);

    LogWriterWorker *m_worker = nullptr;
    std::atomic<bool> m_isServing{false};

    std::mutex m_progress;
    std::condition_variable m_stageReached;
    // protected by m_progress:
    Stage m_stage = Begun;
};
