// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogWriterThread_p.h"

#include "Cancellation_p.h"
#include "LogQueue_p.h"
#include "WriterEventDispatcher_p.h"

#include <Brindlecast/LogWriterWorker.h>

#include <QCoreApplication>
#include <QEvent>
#include <QScopeGuard>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include <unistd.h>

namespace {

constexpr qint64 kGraceMs = 2000;
constexpr unsigned long kStartWaitMs = 3;

// Trivially destructible, so that they can be read while the thread's objects are destroyed.
thread_local bool isWriterThread = false;
thread_local pid_t writersProcess = 0;

/** Runs some code once: at the first event or call of run(). */
class HostCall : public QObject // clazy:exclude=missing-qobject-macro
{
public:
    explicit HostCall(const std::function<void()> &code)
        : m_code(code)
    {
    }
    Q_DISABLE_COPY(HostCall)

    bool event(QEvent *event) override
    {
        Q_UNUSED(event)
        run();
        return true;
    }

    void run()
    {
        if (!std::exchange(m_hasRun, true))
            m_code();
    }

private:
    const std::function<void()> &m_code;
    bool m_hasRun = false;
};

} // namespace

LogWriterThread::LogWriterThread(LogQueue &queue, LogWriterWorker &worker)
    : m_queue(queue)
    , m_worker(worker)
{
}

bool LogWriterThread::isCurrent()
{
    return isWriterThread;
}

void LogWriterThread::callHost(const std::function<void()> &code)
{
    HostCall call(code);
    QEvent event(QEvent::User);
    if (QCoreApplication::instance() != nullptr)
        QCoreApplication::sendEvent(&call, &event);
    call.run(); // When there is no application object, or it has filtered the event out.
    endIfForked();
}

void LogWriterThread::endIfForked()
{
    if (::getpid() != writersProcess)
        ::_exit(EXIT_SUCCESS);
}

bool LogWriterThread::begin()
{
    m_queue.beginServing();
    if (eventDispatcher() == nullptr)
        setEventDispatcher(new WriterEventDispatcher(m_queue, m_worker)); // The thread deletes it when it ends.
    start(QThread::InheritPriority);
    const bool isStarted = isRunning();
    if (!isStarted)
        m_queue.endServing();
    wait(kStartWaitMs); // So that the thread has most likely begun when startThread() returns.
    return isStarted;
}

bool LogWriterThread::end(QDeadlineTimer limit)
{
    m_queue.endServing();
    const qint64 graceMs = limit.isForever() ? kGraceMs : std::min(kGraceMs, limit.remainingTime() / 2);
    if (!m_queue.waitForWriterToLeave(QDeadlineTimer(graceMs)))
        terminate();
    return wait(limit.isForever() ? std::numeric_limits<unsigned long>::max()
                                  : static_cast<unsigned long>(limit.remainingTime()));
}

void LogWriterThread::run()
{
    isWriterThread = true;
    writersProcess = ::getpid();
    Cancellation::restrictToScopes();
    // By a scope guard, because that runs also when the thread is cancelled.
    const auto leave = qScopeGuard([this] { m_queue.leave(); });

    m_worker.resume(m_queue);
    while (m_queue.isServing())
        eventDispatcher()->processEvents(QEventLoop::WaitForMoreEvents);
    m_worker.sync(); // The thread may stay stopped for long.
}
