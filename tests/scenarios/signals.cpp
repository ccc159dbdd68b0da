// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <mutex>

namespace {

// Lines, and what the host emits itself, are worked off in the order in which they came, clears included.
SCENARIO(keepsTheOrderOfEmissions, 2)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        situation = attempt != 0 ? "a host is connected" : "nobody is connected";
        runHost({kHostSucceeded, "destroyed\n"}, [attempt] {
            int emitted = 0;
            const Host host;
            // At the end, since no emission is going on then.
            QObject::connect(host.logger, &QObject::destroyed, [] { qWarning("destroyed"); });
            raise(0, 0);
            EXPECT(host.isFlushed());
            if (attempt != 0) // Then lines are emitted, too.
                QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [&emitted] { ++emitted; });
            host.logger->stopThread();
            raise(0, 1);
            FileIOObjectPointer request(new FileIOObject(nullptr));
            request->contentList = QStringList{"the host's"_q};
            QObject::connect(request.data(), &QObject::destroyed,
                             [] { QDir(logDirectory()).rename(logNames().constFirst(), "before the clear"_q); });
            Q_EMIT host.logger->handleIOSignal(request);
            Q_EMIT host.logger->handleIOSignal(FileIOObjectPointer()); // Is no request.
            request.clear();
            raise(0, 2);
            Q_EMIT host.logger->clearSignal();
            raise(0, 3);
            EXPECT_EQUAL(emitted, attempt != 0 ? 5 : 0);
            host.logger->startThread();
            EXPECT(host.isFlushed());
            const QList<QByteArray> before = fileContents(logDirectory() + "before the clear"_q).split('\n');
            EXPECT_EQUAL(before.size(), 8); // Each message is followed by an empty line.
            EXPECT(before.value(2).endsWith("t0 1.|"));
            EXPECT_EQUAL(before.value(4), QByteArray("the host's"));
            EXPECT(before.value(5).endsWith("t0 2.|"));
            EXPECT(writtenLogs().endsWith("t0 3.|\n\n"));
            EXPECT_EQUAL(writtenLogs().count('\n'), 2);
        });
    }
}

SCENARIO(stopsWhileASlotWaits, 20)
{
    runHost({}, [amount] {
        const Host host;
        std::mutex mutex; // Of the thread that stops the writer.
        std::atomic<bool> isInSlot{false};
        QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [&mutex, &isInSlot] {
            isInSlot.store(true);
            const std::lock_guard<std::mutex> lock(mutex);
        });
        mutex.lock();
        std::thread raiser(raiseAll, 0, amount);
        while (!isInSlot.load()) { }
        host.logger->stopThread();
        host.logger->startThread();
        mutex.unlock();
        raiser.join();
    });
    expectWholeLines(amount);
}

} // namespace
