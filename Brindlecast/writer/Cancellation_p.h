// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <utility>

#include <pthread.h>

/**
 * Where a thread can be cancelled.
 *
 * Cancelling a thread unwinds its stack by force. The writer thread allows that only inside a system call that can hang
 * on a stalled disk. Anywhere else it could leave data half changed, reach a destructor, which ends the process, or
 * cross stack frames that can't be unwound.
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

/** Keeps any calling thread from being cancelled during its lifetime, even within an EnabledScope. */
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
