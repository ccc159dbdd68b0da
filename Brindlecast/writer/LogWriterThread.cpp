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

// Trivially destructible, so that messages of a dying thread may ask.
thread_local bool isWriterThread = false;
thread_local pid_t writersProcess = 0;

/** Runs some code once, when it receives an event or is told to. */
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
    call.run(); // Without an application object, or if that has kept the event back.
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
    wait(kStartWaitMs); // Hosts know startThread() to return when the thread has most likely begun.
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
    // A guard's destructor, not the end of the function: a cancelled thread comes this way too.
    const auto leave = qScopeGuard([this] { m_queue.leave(); });

    m_worker.resume(m_queue);
    while (m_queue.isServing())
        eventDispatcher()->processEvents(QEventLoop::WaitForMoreEvents);
    m_worker.sync(); // Nobody will for a while.
}
