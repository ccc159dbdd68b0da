// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QAbstractEventDispatcher>

#include <atomic>
#include <condition_variable>
#include <mutex>

/**
 * The event dispatcher of the writer thread: posted events and nothing else.
 *
 * The default dispatcher makes a system call per posted event, and on 32-bit ARM a thread can't be unwound through
 * GLib. This one makes a system call only to wake a thread that sleeps. Timers and socket notifiers are not served.
 */
class WriterEventDispatcher : public QAbstractEventDispatcher
{
    Q_OBJECT
    Q_DISABLE_COPY(WriterEventDispatcher)

public:
    WriterEventDispatcher();

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override { return m_state.load() == Woken; }
    void wakeUp() override;
    void interrupt() override { wakeUp(); }
    void flush() override { }

    void registerSocketNotifier(QSocketNotifier *notifier) override { Q_UNUSED(notifier) }
    void unregisterSocketNotifier(QSocketNotifier *notifier) override { Q_UNUSED(notifier) }
    void registerTimer(int timerId, int interval, Qt::TimerType timerType, QObject *object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int timerId) override;

private:
    enum State { Busy, Woken, Asleep };

    void sleepUntilWoken();

    std::atomic<int> m_state{Woken};
    std::mutex m_mutex;
    std::condition_variable m_wokenUp;
};
