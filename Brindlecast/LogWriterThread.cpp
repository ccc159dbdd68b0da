// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogWriterThread_p.h"

#include "ForcedEnd_p.h"
#include "LogWriterWorker.h"
#include "PostingGate_p.h"
#include "WriterEventDispatcher_p.h"

#include <QCoreApplication>
#include <QScopeGuard>

#include <chrono>
#include <limits>

#include <sched.h>

namespace {

constexpr int kGraceMs = 2000;
constexpr unsigned long kStartWaitMs = 3;
constexpr unsigned long kApplicationPollMs = 2;

// Trivially destructible, so that messages of a dying thread may ask.
thread_local bool isWriterThread = false;

} // namespace

LogWriterThread::LogWriterThread() = default;

bool LogWriterThread::isCurrent()
{
    return isWriterThread;
}

void LogWriterThread::begin()
{
    {
        const std::lock_guard<std::mutex> lock(m_parking);
        m_isParked = false;
        m_isLetGo = false;
    }
    m_worker->setAccepting(true);
    m_isServing.store(true);
    if (eventDispatcher() == nullptr)
        setEventDispatcher(new WriterEventDispatcher); // The thread deletes it when it ends.
    start(QThread::InheritPriority);
    wait(kStartWaitMs);
}

void LogWriterThread::end(PostingGate &gate)
{
    m_worker->setAccepting(false);
    m_isServing.store(false);
    if (!isRunning())
        return; // The system had no thread to give.
    eventDispatcher()->wakeUp();

    if (!waitUntilParked(kGraceMs)) {
        terminate();
        waitUntilParked(-1);
        m_worker->discardFiles();
    }

    gate.close();
    terminate(); // Has no effect any more: nothing that a parked thread still does can be cancelled.
    {
        const std::lock_guard<std::mutex> lock(m_parking);
        m_isLetGo = true;
    }
    m_parkingChanged.notify_all();
    wait(std::numeric_limits<unsigned long>::max());
    gate.open();
}

void LogWriterThread::run()
{
    isWriterThread = true;
    ForcedEnd::confine();
    // The space guard changes the current directory. A private one keeps that from the host; where the system refuses,
    // the worker puts the former one back after each check.
    ::unshare(CLONE_FS);

    // A destructor, not the end of the function: a cancelled thread comes this way too.
    const auto parkAtLast = qScopeGuard([this] { park(); });

    if (!waitForApplication())
        return;
    m_worker->workOffSetAside();
    while (m_isServing.load())
        eventDispatcher()->processEvents(QEventLoop::WaitForMoreEvents);
}

bool LogWriterThread::waitForApplication()
{
    while (m_isServing.load()) {
        if (!QCoreApplication::startingUp())
            return true;
        QThread::msleep(kApplicationPollMs);
    }
    return false;
}

void LogWriterThread::park()
{
    std::unique_lock<std::mutex> lock(m_parking);
    m_isParked = true;
    m_parkingChanged.notify_all();
    m_parkingChanged.wait(lock, [this] { return m_isLetGo; });
}

bool LogWriterThread::waitUntilParked(int timeoutMs)
{
    const auto parked = [this] { return m_isParked; };
    std::unique_lock<std::mutex> lock(m_parking);
    if (timeoutMs >= 0)
        return m_parkingChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), parked);
    m_parkingChanged.wait(lock, parked);
    return true;
}
