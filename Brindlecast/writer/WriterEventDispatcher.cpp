// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "WriterEventDispatcher_p.h"

#include "LogQueue_p.h"
#include "LogWriterThread_p.h"

#include <Brindlecast/LogWriterWorker.h>

#include <QCoreApplication>
#include <QScopedValueRollback>

WriterEventDispatcher::WriterEventDispatcher(LogQueue &queue, LogWriterWorker &worker)
    : m_queue(queue)
    , m_worker(worker)
{
}

bool WriterEventDispatcher::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    const QScopedValueRollback<int> loops(m_loops, m_loops + 1);
    const bool isOuterLoop = m_loops == 1;
    // A host's slot may run an event loop while the worker is busy.
    const bool canWrite = m_worker.isAtRest();
    if (flags.testFlag(QEventLoop::WaitForMoreEvents))
        m_queue.sleep(canWrite, isOuterLoop, canWrite ? m_worker.nextSync() : QDeadlineTimer(QDeadlineTimer::Forever));
    if (canWrite) {
        m_worker.writeWaiting(m_queue);
        m_worker.syncIfDue();
    }
    // Without an application object Qt would drop the events.
    if (m_queue.takeWakeUp() && QCoreApplication::instance() != nullptr) {
        QCoreApplication::sendPostedEvents();
        LogWriterThread::endIfForked();
    }
    return true;
}

void WriterEventDispatcher::wakeUp()
{
    m_queue.wakeUp();
}

void WriterEventDispatcher::registerTimer(int timerId, Interval interval, Qt::TimerType timerType, QObject *object)
{
    Q_UNUSED(timerId)
    Q_UNUSED(interval)
    Q_UNUSED(timerType)
    Q_UNUSED(object)
}

bool WriterEventDispatcher::unregisterTimer(int timerId)
{
    Q_UNUSED(timerId)
    return false;
}

bool WriterEventDispatcher::unregisterTimers(QObject *object)
{
    Q_UNUSED(object)
    return false;
}

QList<QAbstractEventDispatcher::TimerInfo> WriterEventDispatcher::registeredTimers(QObject *object) const
{
    Q_UNUSED(object)
    return {};
}

int WriterEventDispatcher::remainingTime(int timerId)
{
    Q_UNUSED(timerId)
    return -1;
}

#if QT_VERSION_MAJOR == 5
bool WriterEventDispatcher::hasPendingEvents()
{
    return m_queue.hasWaiting();
}

void WriterEventDispatcher::flush() { }
#endif
