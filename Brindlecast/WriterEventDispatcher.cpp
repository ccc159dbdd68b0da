// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "WriterEventDispatcher_p.h"

#include <QCoreApplication>

WriterEventDispatcher::WriterEventDispatcher() = default;

bool WriterEventDispatcher::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    if (flags.testFlag(QEventLoop::WaitForMoreEvents))
        sleepUntilWoken();
    // Before the events are sent: one posted from here on wakes the next round.
    m_state.store(Busy);
    QCoreApplication::sendPostedEvents();
    return true;
}

void WriterEventDispatcher::wakeUp()
{
    if (m_state.exchange(Woken) != Asleep)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_wokenUp.notify_one();
}

void WriterEventDispatcher::sleepUntilWoken()
{
    int expected = Busy;
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_state.compare_exchange_strong(expected, Asleep))
        m_wokenUp.wait(lock, [this] { return m_state.load() != Asleep; });
}

void WriterEventDispatcher::registerTimer(int timerId, int interval, Qt::TimerType timerType, QObject *object)
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
