// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Usage: tst_datarace [SECONDS]
// Lets threads log and control the logger at random under the thread sanitizer, which exits with 66 when it finds a
// race.
//
// Qt itself is not built for the sanitizer, so its queue has to be told: what a thread did before it emitted a signal
// happens before what any receiver does with an event later.

#include "support/Load.h"
#include "support/TestSupport.h"

#include <QCoreApplication>

extern "C" {
void __tsan_acquire(void *address); // NOLINT(bugprone-reserved-identifier): the sanitizer's own names
void __tsan_release(void *address); // NOLINT(bugprone-reserved-identifier)
}

struct QSignalSpyCallbackSet
{
    using BeginCallback = void (*)(QObject *caller, int index, void **arguments);
    using EndCallback = void (*)(QObject *caller, int index);
    BeginCallback signalBegin, slotBegin;
    EndCallback signalEnd, slotEnd;
};
void Q_CORE_EXPORT qt_register_signal_spy_callbacks(QSignalSpyCallbackSet *callbacks);

namespace {

char queueEdge = 0;

class Application : public QCoreApplication // clazy:exclude=missing-qobject-macro
{
public:
    using QCoreApplication::QCoreApplication;
    bool notify(QObject *receiver, QEvent *event) override
    {
        __tsan_acquire(&queueEdge);
        return QCoreApplication::notify(receiver, event);
    }
};

} // namespace

int main(int argc, char *argv[])
{
    const auto onSignal = [](QObject *, int, void **) { __tsan_release(&queueEdge); };
    static QSignalSpyCallbackSet callbacks = {onSignal, nullptr, nullptr, nullptr};
    qt_register_signal_spy_callbacks(&callbacks);
    const Application application(argc, argv);
    if (!removeLogDirectory())
        return 1;
    const int milliseconds = 1000 * (argc > 1 ? QByteArray(argv[1]).toInt() : 5);
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    {
        const Loggers loggers(3, 500);
        std::thread other(controlAtRandom, milliseconds);
        controlAtRandom(milliseconds);
        other.join();
    }
    logger->enableOutputFile();
    const bool isFlushed = logger->flush(60000);
    logger->stopThread();
    __tsan_acquire(&queueEdge); // The thread's end is signalled, too.
    return isFlushed ? 0 : 1;
}
