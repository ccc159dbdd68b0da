// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

/**
 * Keeps the writer thread's event dispatcher alive while another thread posts to it.
 *
 * QCoreApplication::postEvent() wakes the receiver's dispatcher after it has let go of the queue's lock, and the
 * dispatcher dies with its thread. So whoever posts holds a Pass, and the thread may end only while the gate is closed.
 * A thread may hold several passes; before it waits for one that closes the gate, or closes it, it steps outside.
 *
 * Thread safety: thread-safe; constant-initialised and trivially destructible, so usable from the first to the last
 * instruction of the process.
 */
class PostingGate
{
public:
    /** Waits until the gate is open and keeps it from closing for its lifetime. */
    class Pass
    {
    public:
        explicit Pass(PostingGate &gate)
            : m_gate(gate)
            , m_isOutermost(std::exchange(passesOfThisThread, passesOfThisThread + 1) == 0)
        {
            if (m_isOutermost)
                m_gate.enter();
        }
        ~Pass()
        {
            --passesOfThisThread;
            if (m_isOutermost)
                m_gate.leave();
        }
        Pass(const Pass &) = delete;
        Pass &operator=(const Pass &) = delete;

    private:
        PostingGate &m_gate;
        const bool m_isOutermost;
    };

    /** Gives the calling thread's passes back for its lifetime, if there are any. */
    class StepOutside
    {
    public:
        explicit StepOutside(PostingGate &gate)
            : m_gate(gate)
            , m_passes(std::exchange(passesOfThisThread, 0))
        {
            if (m_passes > 0)
                m_gate.leave();
        }
        ~StepOutside()
        {
            passesOfThisThread = m_passes;
            if (m_passes > 0)
                m_gate.enter();
        }
        StepOutside(const StepOutside &) = delete;
        StepOutside &operator=(const StepOutside &) = delete;

    private:
        PostingGate &m_gate;
        const int m_passes;
    };

    /** Closes the gate and waits until no thread holds a pass. */
    void close()
    {
        m_reopening.lock();
        m_isClosed.store(true);
        while (m_threadsInside.load() > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(20));
    }

    /** Opens it again; to be called by the thread that closed it. */
    void open()
    {
        m_isClosed.store(false);
        m_reopening.unlock();
    }

private:
    void enter()
    {
        m_threadsInside.fetch_add(1);
        while (m_isClosed.load()) {
            leave();
            {
                const std::lock_guard<std::mutex> untilReopened(m_reopening);
            }
            m_threadsInside.fetch_add(1);
        }
    }

    void leave() { m_threadsInside.fetch_sub(1); }

    inline static thread_local int passesOfThisThread = 0;

    std::atomic<int> m_threadsInside{0};
    std::atomic<bool> m_isClosed{false};
    std::mutex m_reopening;
};
