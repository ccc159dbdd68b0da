// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <QTimer>

namespace {

SCENARIO(logsFirstFromManyThreads, 30)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        runHost({}, [] {
            const Host host;
            std::atomic<bool> isTime{false};
            runInThreads(8, [&isTime](int source) {
                if (source == 7) // The last one to begin.
                    isTime.store(true);
                while (!isTime.load()) { }
                raise(source, 0);
            });
        });
        EXPECT_EQUAL(expectWholeLines(1).lines, (LoggingThreads::Counts{1, 1, 1, 1, 1, 1, 1, 1}));
    }
}

SCENARIO(emitsOnceAHostIsConnected, 1)
{
    using Connect = std::function<void(QtDebugLogger *, QTimer *)>;
    const auto start = static_cast<void (QTimer::*)()>(&QTimer::start);
    const Connect ways[] = {
        [start](auto *logger, auto *timer) { QObject::connect(logger, &QtDebugLogger::handleIOSignal, timer, start); },
        [](auto *logger, auto *timer) {
            const int signal = logger->metaObject()->indexOfSignal("handleIOSignal(FileIOObjectPointer)");
            QMetaObject::connect(logger, signal, timer, timer->metaObject()->indexOfSlot("start()"));
        }};
    for (const auto &way : ways) {
        situation = "way of connecting " + QByteArray::number(int(&way - ways));
        runHost({}, [amount, &way] {
            const Host host;
            QTimer timer;
            raiseAll(0, amount);
            host.logger->blockSignals(true);
            qDebug("nobody hears of it, the writer neither");
            host.logger->blockSignals(false);
            way(host.logger, &timer);
            EXPECT(!timer.isActive());
            raise(0, amount);
            EXPECT(timer.isActive());
            QObject::disconnect(host.logger, nullptr, &timer, nullptr);
            Q_EMIT host.logger->handleIOSignal(FileIOObjectPointer()); // Is no request.
            raise(0, amount + 1);
        });
        expectWholeLines(amount + 2);
    }
}

// Lines, and what the host emits itself, are worked off in the order in which they came, clears included.
SCENARIO(keepsTheOrderOfEmissions, 2)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        situation = attempt != 0 ? "a host is connected" : "nobody is connected";
        runHost({kHostSucceeded, "destroyed\n"}, [attempt] {
            const Host host;
            // At the end, since no emission is going on then.
            QObject::connect(host.logger, &QObject::destroyed, [] { qWarning("destroyed"); });
            raise(0, 0);
            EXPECT(host.isFlushed());
            if (attempt != 0) // Then lines are emitted, too.
                QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [] {});
            host.logger->stopThread();
            raise(0, 1);
            FileIOObjectPointer request(new FileIOObject(nullptr));
            request->contentList = QStringList{"the host's"_q};
            QObject::connect(request.data(), &QObject::destroyed,
                             [] { QDir(logDirectory()).rename(logNames().constFirst(), "before the clear"_q); });
            Q_EMIT host.logger->handleIOSignal(request);
            request.clear();
            raise(0, 2);
            Q_EMIT host.logger->clearSignal();
            raise(0, 3);
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

} // namespace
