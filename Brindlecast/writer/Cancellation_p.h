// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <utility>

#include <pthread.h>

/**
 * Where a thread can be cancelled.
 *
 * A thread is cancelled by unwinding its stack by force. The writer thread allows that only inside a system call that a
 * stalled disk can hold up: anywhere else it would tear a table entry, meet a destructor and so end the process, or
 * cross frames that can't be unwound at all.
 */
namespace Cancellation {

// Trivially destructible, so that it may be read at any time of a thread's life.
inline thread_local bool isRestricted = false;

/** Lets the calling thread be cancelled only during the lifetimes of EnabledScope objects. */
inline void restrictToScopes()
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    isRestricted = true;
}

/** Lets a restricted thread be cancelled during its lifetime; does nothing on other threads. */
class EnabledScope
{
public:
    EnabledScope()
    {
        if (isRestricted)
            pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    }
    ~EnabledScope()
    {
        if (isRestricted)
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    }
    EnabledScope(const EnabledScope &) = delete;
    EnabledScope &operator=(const EnabledScope &) = delete;
};

/** Keeps the calling thread, whichever it is, from being cancelled during its lifetime, EnabledScope or not. */
class DisabledScope
{
public:
    DisabledScope()
        : m_wasRestricted(std::exchange(isRestricted, false))
    {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_formerState);
    }
    ~DisabledScope()
    {
        isRestricted = m_wasRestricted;
        pthread_setcancelstate(m_formerState, nullptr);
    }
    DisabledScope(const DisabledScope &) = delete;
    DisabledScope &operator=(const DisabledScope &) = delete;

private:
    const bool m_wasRestricted;
    int m_formerState = PTHREAD_CANCEL_DISABLE;
};

} // namespace Cancellation
