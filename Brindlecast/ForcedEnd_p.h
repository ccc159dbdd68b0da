// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <utility>

#include <pthread.h>

/**
 * Where QThread::terminate() may act on the writer thread: only inside a system call that a stalled disk can hold up.
 *
 * A thread is cancelled by unwinding its stack by force. Anywhere else that would tear a table entry, meet a destructor
 * and so end the process, or cross frames that can't be unwound at all. Threads that never called confine() are not
 * touched.
 */
namespace ForcedEnd {

// Trivially destructible, so that it may be read at any time of a thread's life.
inline thread_local bool isAllowedHere = false;

/** Confines cancellation of the calling thread to the lifetimes of Allowed objects. */
inline void confine()
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    isAllowedHere = true;
}

/** Lets the confined thread be cancelled during its lifetime. */
class Allowed
{
public:
    Allowed()
    {
        if (isAllowedHere)
            pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    }
    ~Allowed()
    {
        if (isAllowedHere)
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    }
    Allowed(const Allowed &) = delete;
    Allowed &operator=(const Allowed &) = delete;
};

/** Forbids it again on the confined thread: a message raised there is handled inside QDebug's destructor. */
class Forbidden
{
public:
    Forbidden()
        : m_wasAllowed(std::exchange(isAllowedHere, false))
    {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_formerState);
    }
    ~Forbidden()
    {
        isAllowedHere = m_wasAllowed;
        pthread_setcancelstate(m_formerState, nullptr);
    }
    Forbidden(const Forbidden &) = delete;
    Forbidden &operator=(const Forbidden &) = delete;

private:
    const bool m_wasAllowed;
    int m_formerState = PTHREAD_CANCEL_DISABLE;
};

} // namespace ForcedEnd
