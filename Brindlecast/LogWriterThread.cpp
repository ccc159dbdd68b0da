// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogWriterThread_p.h"

#include "ForcedEnd_p.h"
#include "LogWriterWorker.h"
#include "PostingGate_p.h"
#include "WriterEventDispatcher_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QScopeGuard>

#include <algorithm>
#include <chrono>
#include <limits>

#include <sched.h>

namespace {

constexpr int kGraceMs = 2000;
constexpr unsigned long kStartWaitMs = 3;
constexpr unsigned long kLongestPauseMs = 50;

// Trivially destructible, so that messages of a dying thread may ask.
thread_local bool isWriterThread = false;

} // namespace

LogWriterThread::LogWriterThread() = default;

bool LogWriterThread::isCurrent()
{
    return isWriterThread;
}

bool LogWriterThread::begin(PostingGate &gate)
{
    reach(Begun);
    m_worker->setAccepting(true);
    m_isServing.store(true);
    if (eventDispatcher() == nullptr) {
        // Qt hands it over whole to threads that post, but out of the thread sanitizer's sight.
        gate.close();
        setEventDispatcher(new WriterEventDispatcher); // The thread deletes it when it ends.
        gate.open();
    }
    start(QThread::InheritPriority);
    if (!isRunning())
        m_isServing.store(false);
    wait(kStartWaitMs);
    return m_isServing.load();
}

void LogWriterThread::end(PostingGate &gate)
{
    m_worker->setAccepting(false);
    m_isServing.store(false);
    eventDispatcher()->wakeUp();

    if (!waitFor(Parked, kGraceMs)) {
        waitFor(Cancellable); // Cancelled any earlier, it would end past the gate.
        terminate();
        waitFor(Parked);
        m_worker->discardFiles();
    }

    gate.close();
    terminate(); // How the thread is to end, though nothing that a parked one still does can be cancelled.
    reach(LetGo);
    wait(std::numeric_limits<unsigned long>::max());
    gate.open();
}

void LogWriterThread::run()
{
    isWriterThread = true;
    ForcedEnd::confine();
    // A guard's destructor, not the end of the function: a cancelled thread comes this way too.
    const auto parkAtLast = qScopeGuard([this] { park(); });
    reach(Cancellable);

    // The space guard changes the current directory. A private one keeps that from the host, and does not keep the
    // host's own in use. Where the system refuses, the worker puts the former one back after each check.
    if (::unshare(CLONE_FS) == 0)
        QDir::setCurrent(QDir::rootPath());

    if (!waitForApplication())
        return;
    m_worker->workOffSetAside();
    while (m_isServing.load())
        eventDispatcher()->processEvents(QEventLoop::WaitForMoreEvents);
}

bool LogWriterThread::waitForApplication()
{
    unsigned long pauseMs = 1;
    while (m_isServing.load()) {
        if (!QCoreApplication::startingUp())
            return true;
        QThread::msleep(pauseMs);
        pauseMs = std::min(pauseMs + 1, kLongestPauseMs);
    }
    return false;
}

void LogWriterThread::park()
{
    reach(Parked);
    waitFor(LetGo);
}

void LogWriterThread::reach(Stage stage)
{
    {
        const std::lock_guard<std::mutex> lock(m_progress);
        m_stage = stage;
    }
    m_stageReached.notify_all();
}

bool LogWriterThread::waitFor(Stage stage, int timeoutMs)
{
    const auto isReached = [this, stage] { return m_stage >= stage; };
    std::unique_lock<std::mutex> lock(m_progress);
    if (timeoutMs >= 0)
        return m_stageReached.wait_for(lock, std::chrono::milliseconds(timeoutMs), isReached);
    m_stageReached.wait(lock, isReached);
    return true;
}
