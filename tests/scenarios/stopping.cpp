// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <QElapsedTimer>

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
        for (int cycle = 0; cycle < amount; ++cycle) {
            QElapsedTimer timer;
            timer.start();
            host.logger->stopThread();
            EXPECT_LESS(timer.elapsed(), 1500); // No stop by force.
            QThread::usleep(std::random_device()() % 3000);
            host.logger->startThread();
            if (cycle == amount / 10) {
                EXPECT(host.isFlushed());
                descriptorsBefore = descriptors();
            }
        }
        const std::vector<int> raised = threads.finish();
        EXPECT(host.isFlushed());
        EXPECT_EQUAL(expectWholeLines(raised[0]).lines, raised);
        EXPECT_EQUAL(descriptors(), descriptorsBefore);
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
        const QByteArray now = QDateTime::currentDateTime().toString("[yyyy-MM-dd hh:mm:ss"_q).toUtf8();
        qDebug("the last line");
        EXPECT(host.isFlushed());
        const QByteArray logs = writtenLogs();
        EXPECT_LESS(now, logs.mid(logs.lastIndexOf('[')));
        const QStringList others = expectWholeLines().others;
        EXPECT_EQUAL(others, others.filter("<Debug:> The file :"_q) + QStringList("<Debug:> the last line"_q));
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
    EXPECT_EQUAL(tally.next[0], kMostWaiting);
    const QString notice = "<Warning:> %1 lines were dropped: too many were waiting to be written"_q.arg(amount);
    EXPECT_EQUAL(tally.others, QStringList({notice, "<Debug:> the line after"_q}));
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

SCENARIO(survivesCancelledThreads, 100)
{
    runHost({kHostSucceeded, nullptr}, [amount] {
        const Host host;
        disk.store(Disk::Slow);
        QElapsedTimer timer;
        timer.start();
        for (int attempt = 0; attempt < amount; ++attempt) {
            std::thread cancelled([logger = host.logger] {
                for (;; ::pthread_testcancel()) {
                    startLogging();
                    raise(0, 0);
                    logger->flush(-1);
                    raise(0, 0);
                    logger->stopThread();
                    logger->clearData();
                    logger->disableOutputFile();
                }
            });
            QThread::usleep(std::random_device()() % 5000);
            ::pthread_cancel(cancelled.native_handle());
            cancelled.join();
            startLogging();
            qDebug("the last line");
            EXPECT(host.isFlushed());
            EXPECT(writtenLogs().endsWith("the last line\n\n"));
        }
        EXPECT_LESS(timer.elapsed(), 20000); // No stop by force.
    });
}

} // namespace
