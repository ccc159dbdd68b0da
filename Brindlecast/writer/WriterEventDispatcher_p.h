// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QAbstractEventDispatcher>

#include <type_traits>

class LogQueue;
class LogWriterWorker;

/**
 * The event dispatcher of the writer thread: has the worker write what waits in the queue, then sends posted events.
 *
 * It sleeps in the queue. Qt's own dispatchers need a system call for each wake-up, and on 32-bit ARM a thread can't be
 * unwound through GLib. Timers and socket notifiers do nothing.
 */
class WriterEventDispatcher : public QAbstractEventDispatcher
{
    Q_OBJECT
    Q_DISABLE_COPY(WriterEventDispatcher)

public:
    using Interval = std::conditional_t<QT_VERSION_MAJOR == 5, int, qint64>;

    WriterEventDispatcher(LogQueue &queue, LogWriterWorker &worker);

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    void wakeUp() override;
    void interrupt() override { wakeUp(); }

    void registerSocketNotifier(QSocketNotifier *notifier) override { Q_UNUSED(notifier) }
    void unregisterSocketNotifier(QSocketNotifier *notifier) override { Q_UNUSED(notifier) }
    void registerTimer(int timerId, Interval interval, Qt::TimerType timerType, QObject *object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int timerId) override;
#if QT_VERSION_MAJOR == 5
    bool hasPendingEvents() override;
    void flush() override;
#endif

private:
    LogQueue &m_queue;
    LogWriterWorker &m_worker;
    int m_loops = 0;
};
