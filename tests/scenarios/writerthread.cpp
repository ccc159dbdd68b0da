// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Slots of the host that run on the writer thread, while lines wait.

#include "support/HostProcess.h"

#include <QEventLoop>

#include <cstdlib>
#include <ctime>

#include <sys/wait.h>
#include <unistd.h>

namespace {

// Has the writer thread begin with `lines` lines, and run `slot` each time that the guard says that it has removed one
// of the files that are too many.
void runOnWriterThread(QtDebugLogger *logger, int lines, const std::function<void()> &slot, int filesTooMany = 1)
{
    logger->stopThread();
    makeLogs(kFilesKept - 1 + filesTooMany);
    QObject::connect(logger, &QtDebugLogger::handleIOSignal, [slot](const FileIOObjectPointer &request) {
        if (request->contentList.constFirst().contains("is removed"_q))
            slot();
    });
    raiseAll(0, lines);
    logger->startThread();
}

void expectLinesAndRemoval(int lines)
{
    const Tally tally = expectWholeLines();
    EXPECT_EQUAL(tally.lines[0], lines);
    EXPECT_EQUAL(tally.others, QStringList("<Debug:> The file : \"log-2020-01-01_00-00-00.log\" is removed"_q));
}

SCENARIO(runsALoopOnTheWriterThread, 1000)
{
    runHost({}, [amount] {
        const Host host;
        host.logger->setSyncInterval(1);
        std::atomic<QEventLoop *> loop{nullptr};
        std::atomic<qint64> cpuMs{1000};
        runOnWriterThread(host.logger, amount, [&] {
            QEventLoop nested;
            loop.store(&nested);
            nested.exec();
            timespec time = {};
            ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
            cpuMs.store(time.tv_sec * 1000LL + time.tv_nsec / 1000000);
        });
        while (loop.load() == nullptr)
            QThread::usleep(100);
        EXPECT(!host.logger->flush(400)); // Lines wait, and a sync is due, for which the nested loop must not spin.
        QMetaObject::invokeMethod(loop.load(), "quit", Qt::QueuedConnection);
        EXPECT(host.isFlushed());
        EXPECT_LESS(cpuMs.load(), 50);
    });
    expectLinesAndRemoval(amount);
}

// In a slot, and in the handler to which messages are forwarded, also those that the thread itself raises.
SCENARIO(forksOnTheWriterThread, 1000)
{
    for (const bool forwards : {false, true}) {
        situation = forwards ? "in the former handler" : "in a slot";
        runHost({}, [amount, forwards] {
            static std::atomic<pid_t> child{-1};
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &message) {
                if (message.contains("is removed"_q))
                    child.store(::fork());
            });
            const Host host;
            host.logger->setForwarding(forwards);
            runOnWriterThread(host.logger, amount, [forwards, logger = host.logger] {
                if (!forwards)
                    child.store(::fork());
                // None of these can be waited for here.
                logger->flush(-1);
                logger->stopThread();
                logger->startThread();
            });
            EXPECT(host.isFlushed());
            int end = -1;
            EXPECT_LESS(0, child.load());
            EXPECT_EQUAL(::waitpid(child.load(), &end, 0), child.load());
            EXPECT_EQUAL(end, 0);
        });
        expectLinesAndRemoval(amount);
    }
}

SCENARIO(isCutOffInTheGuardsMessage, 10)
{
    for (const Disk stalled : {Disk::Stalled, Disk::StalledHalfway, Disk::StalledAtTheEnd}) {
        situation = QByteArray::number(static_cast<int>(stalled));
        runHost({}, [amount, stalled] {
            const Host host;
            runOnWriterThread(host.logger, amount, [stalled] { disk.store(stalled); });
            EXPECT(!host.logger->flush(300));
            host.logger->stopThread();
            disk.store(Disk::Sound);
        });
        expectLinesAndRemoval(amount);
    }
}

SCENARIO(exitsOnTheWriterThread, 1000)
{
    const qint64 lifetimeMs = runHost({}, [amount] {
        const auto exit = [] { std::exit(kHostSucceeded); };
        runOnWriterThread(startLogging(), amount, exit, 3); // It must not be called again.
        for (;;)
            ::pause();
    });
    EXPECT_LESS(lifetimeMs, 2500); // Nobody waits for lines that are written.
    expectLinesAndRemoval(amount);
}

} // namespace
