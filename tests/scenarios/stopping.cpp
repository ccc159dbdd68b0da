// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <QElapsedTimer>

#include <mutex>
#include <tuple>

#include <pthread.h>

namespace {

SCENARIO(stopsAndStartsUnderLoad, 300)
{
    runHost({}, [amount] {
        const Host host;
        LoggingThreads threads(4, 1000);
        const auto descriptors = [] { return QDir("/proc/self/fd"_q).entryList(QDir::System | QDir::Files).size(); };
        auto descriptorsBefore = descriptors();
        qint64 memoryBefore = 0;
        qint64 longestStopMs = 0;
        for (int cycle = 0; cycle < amount; ++cycle) {
            QElapsedTimer timer;
            timer.start();
            host.logger->stopThread();
            longestStopMs = qMax(longestStopMs, timer.elapsed());
            QThread::usleep(std::random_device()() % 3000);
            host.logger->startThread();
            if (cycle == amount / 10) {
                EXPECT(host.isFlushed());
                descriptorsBefore = descriptors();
                memoryBefore = memoryInUse();
            }
        }
        const LoggingThreads::Counts raised = threads.finish();
        EXPECT(host.isFlushed());
        EXPECT_EQUAL(expectWholeLines(raised[0]).lines, raised);
        EXPECT_EQUAL(descriptors(), descriptorsBefore);
        EXPECT_LESS(memoryInUse(), memoryBefore + 1024LL * 1024);
        EXPECT_LESS(longestStopMs, 1500);
    });
}

SCENARIO(isControlledAtRandom, 3)
{
    runHost({kHostSucceeded, nullptr}, [amount] {
        const Host host;
        raise(7, 0); // This thread's next line is one of another second.
        {
            const LoggingThreads threads(4, 500);
            std::thread other(controlAtRandom, 1000 * amount);
            controlAtRandom(1000 * amount);
            other.join();
        }
        startLogging();
        const QDateTime now = QDateTime::currentDateTime();
        qDebug("the last line");
        EXPECT(host.isFlushed());
        const Tally tally = expectWholeLines();
        EXPECT_LESS(now, tally.time.addSecs(1));
        const QStringList removals = tally.others.filter("<Debug:> The file :"_q);
        EXPECT_EQUAL(tally.last, "<Debug:> the last line"_q);
        EXPECT_EQUAL(tally.others, removals + QStringList(tally.last));
    });
}

SCENARIO(isFlooded, 20000)
{
    constexpr int kMostWaiting = 262144;
    runHost({}, [amount] {
        const Host host;
        host.logger->stopThread();
        raiseAll(0, kMostWaiting + amount);
        host.logger->startThread();
        EXPECT(host.isFlushed());
        qDebug("the line after");
    });
    const Tally tally = expectWholeLines();
    EXPECT_EQUAL(tally.lines[0], kMostWaiting);
    EXPECT_EQUAL(tally.gaps, 0);
    const QString notice = "<Warning:> %1 lines were dropped: too many were waiting to be written"_q.arg(amount);
    EXPECT_EQUAL(tally.others, QStringList({notice, "<Debug:> the line after"_q}));
}

SCENARIO(flushesAllThatWaits, 40)
{
    runHost({}, [amount] {
        const Host host;
        raise(0, 0);
        // Messages of the space guard overtake the queue. It looks when a file of a new name is begun.
        EXPECT(host.isFlushed());
        makeLogs(25);
        disk.store(Disk::Slow);
        raiseAll(1, amount);
        FileIOObjectPointer startup(new FileIOObject(nullptr));
        startup->category = 4;
        Q_EMIT host.logger->handleIOSignal(startup);
        raiseAll(amount, 2 * amount);
        EXPECT(host.isFlushed());
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.lines[0], 2 * amount);
        EXPECT_EQUAL(tally.others.filter("is removed"_q).size(), 27 - kFilesKept); // In the file of category 1.
    });
}

SCENARIO(stopsInAStalledWrite, 10)
{
    const std::tuple<const char *, Disk, int> rows[]
        = {{"one line", Disk::Stalled, 1},
           {"several lines, for a short time", Disk::Stalled, amount},
           {"several lines", Disk::Stalled, amount},
           {"several lines, halfway", Disk::StalledHalfway, amount},
           {"several lines, when all are written", Disk::StalledAtTheEnd, amount}};
    for (const auto &row : rows) {
        situation = std::get<0>(row);
        runHost({}, [amount, stalled = std::get<1>(row), held = std::get<2>(row)] {
            const Host host;
            raiseAll(0, amount);
            EXPECT(host.isFlushed());
            host.logger->stopThread();
            disk.store(stalled);
            raiseAll(amount, amount + held); // They are written together.
            host.logger->startThread();
            QElapsedTimer timer;
            timer.start();
            EXPECT(!host.logger->flush(300));
            EXPECT_LESS(299, timer.elapsed());
            EXPECT_LESS(timer.elapsed(), 1500);
            std::thread relief([] {
                QThread::msleep(situation.contains("short") ? 500 : 3000);
                disk.store(Disk::Sound);
            });
            timer.restart();
            host.logger->stopThread();
            EXPECT_LESS(timer.elapsed(), 2900);
            raiseAll(amount + held, amount + 2 * held - 1);
            relief.join();
            host.logger->startThread();
            EXPECT(host.isFlushed());
            raiseAll(amount + 2 * held - 1, 4 * amount);
        });
        expectWholeLines(4 * amount);
    }
}

SCENARIO(flushesWhatACutWriteBrought, 2)
{
    runHost({}, [amount] {
        const Host host;
        EXPECT(limitFileSize(1));
        raiseAll(0, amount);
        EXPECT(!host.isFlushed());
        EXPECT(limitFileSize(RLIM_INFINITY));
        disk.store(Disk::StalledAtTheEnd);
        host.logger->disableOutputFile();
        EXPECT(!host.logger->flush(300));
        host.logger->stopThread();
        disk.store(Disk::Sound);
        host.logger->startThread();
        EXPECT(host.isFlushed());
    });
    expectWholeLines(amount);
}

SCENARIO(stopsWhileSlotsWait, 20)
{
    runHost({}, [amount] {
        const Host host;
        // A slot that waits for a lock of the thread that stops.
        std::mutex mutex;
        std::atomic<bool> isInSlot{false};
        auto connection = QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [&mutex, &isInSlot] {
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
        QObject::disconnect(connection);

        // One that waits for the thread itself.
        QObject receiver;
        int received = 0;
        connection = QObject::connect(
            host.logger, &QtDebugLogger::handleIOSignal, &receiver, [&received] { ++received; },
            Qt::BlockingQueuedConnection);
        std::atomic<bool> isOver{false};
        raiser = std::thread([amount, &isOver] {
            raiseAll(amount, 2 * amount);
            isOver.store(true);
        });
        while (!isOver.load()) {
            host.logger->stopThread();
            host.logger->startThread();
            QCoreApplication::processEvents();
        }
        raiser.join();
        EXPECT_EQUAL(received, amount);
    });
    expectWholeLines(2 * amount);
}

SCENARIO(survivesCancelledThreads, 20)
{
    runHost({kHostSucceeded, nullptr}, [amount] {
        const Host host;
        QtDebugLogger *const logger = host.logger;
        const std::function<void()> operations[]
            = {[logger] { raise(0, 0), logger->startThread(), logger->stopThread(); },
               [logger] { logger->enableOutputFile(), logger->clearData(); },
               [logger] { logger->setLogCategoryEnabled(true, 1); }, [logger] { logger->disableOutputFile(); },
               [logger] { raise(0, 0), logger->flush(-1); }};
        disk.store(Disk::Slow);
        QElapsedTimer timer;
        timer.start();
        for (const auto &operation : operations) {
            for (int attempt = 0; attempt < amount; ++attempt) {
                std::thread cancelled([&operation] {
                    for (;; ::pthread_testcancel())
                        operation();
                });
                QThread::usleep(std::random_device()() % 5000);
                ::pthread_cancel(cancelled.native_handle());
                cancelled.join();
                startLogging();
                qDebug("the last line");
                EXPECT(host.isFlushed());
                EXPECT(writtenLogs().endsWith("the last line\n\n"));
            }
        }
        EXPECT_LESS(timer.elapsed(), 20000); // No stop by force.
    });
}

} // namespace
