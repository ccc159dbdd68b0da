// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>

#ifdef __SANITIZE_THREAD__

extern "C" {
void __tsan_acquire(void *address); // NOLINT(bugprone-reserved-identifier): the sanitizer's own names
void __tsan_release(void *address); // NOLINT(bugprone-reserved-identifier)
}

struct QSignalSpyCallbackSet
{
    void (*signalBegin)(QObject *caller, int index, void **arguments);
    void (*slotBegin)(QObject *caller, int index, void **arguments);
    void (*signalEnd)(QObject *caller, int index);
    void (*slotEnd)(QObject *caller, int index);
};
void Q_CORE_EXPORT qt_register_signal_spy_callbacks(QSignalSpyCallbackSet *callbacks);

/**
 * Qt itself is not built for the sanitizer, so its queue has to be told: what a thread did before it emitted a signal
 * happens before what any receiver does with an event later.
 */
class Application : public QCoreApplication // clazy:exclude=missing-qobject-macro
{
public:
    Application(int &argumentCount, char **arguments)
        : QCoreApplication(argumentCount, arguments)
    {
        static QSignalSpyCallbackSet callbacks
            = {[](QObject *, int, void **) { __tsan_release(&queue); }, nullptr, nullptr, nullptr};
        qt_register_signal_spy_callbacks(&callbacks);
    }
    ~Application() override
    {
        QtDebugLogger::getInstance()->stopThread();
        __tsan_acquire(&queue); // The thread's end is signalled, too.
    }
    Q_DISABLE_COPY(Application)

    bool notify(QObject *receiver, QEvent *event) override
    {
        __tsan_acquire(&queue);
        return QCoreApplication::notify(receiver, event);
    }

private:
    inline static char queue = 0;
};

#else
using Application = QCoreApplication;
#endif
