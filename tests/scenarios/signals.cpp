// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <QEventLoop>
#include <QPointer>
#include <QTimer>

#include <ctime>

#include <sys/wait.h>
#include <unistd.h>

namespace {

SCENARIO(logsFirstFromManyThreads, 30)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        runHost({}, [] {
            const Host host;
            std::atomic<bool> isTime{false};
            std::thread threads[8];
            for (int source = 0; source < 8; ++source)
                threads[source] = std::thread([source, &isTime] {
                    while (!isTime.load()) { }
                    raise(source, 0);
                });
            isTime.store(true);
            for (std::thread &thread : threads)
                thread.join();
        });
        EXPECT_EQUAL(expectWholeLines(1).lines, (LoggingThreads::Counts{1, 1, 1, 1, 1, 1, 1, 1}));
    }
}

SCENARIO(emitsOnceAHostIsConnected, 1)
{
    using Connect = std::function<void(QtDebugLogger *, QTimer *)>;
    const auto start = static_cast<void (QTimer::*)()>(&QTimer::start);
    const Connect ways[] = {
        [start](auto *logger, auto *timer) {
            QObject::connect(logger, &QtDebugLogger::handleIOSignal, timer, [=] { (timer->*start)(); });
        },
        [start](auto *logger, auto *timer) { QObject::connect(logger, &QtDebugLogger::handleIOSignal, timer, start); },
        [](auto *logger, auto *timer) {
            QObject::connect(logger, SIGNAL(handleIOSignal(FileIOObjectPointer)), timer, SLOT(start()));
        },
        [](auto *logger, auto *timer) {
            const int signal = logger->metaObject()->indexOfSignal("handleIOSignal(FileIOObjectPointer)");
            QMetaObject::connect(logger, signal, timer, timer->metaObject()->indexOfSlot("start()"));
        }};
    for (const auto &way : ways) {
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
        runHost({}, [attempt] {
            const Host host;
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

SCENARIO(runsALoopOnTheWriterThread, 50)
{
    runHost({}, [amount] {
        makeLogs(10);
        const Host host;
        std::atomic<QEventLoop *> loop{nullptr};
        std::atomic<bool> isDeleted{false};
        std::atomic<qint64> cpuMs{-1};
        const auto runLoop = [&](const FileIOObjectPointer &request) {
            if (!request->contentList.constFirst().contains("is removed"_q))
                return;
            auto *const object = new QObject;
            const auto noteDeletion = [&isDeleted] { isDeleted.store(true); };
            QObject::connect(object, &QObject::destroyed, object, noteDeletion, Qt::DirectConnection);
            QEventLoop nested;
            loop.store(&nested);
            nested.exec();
            object->deleteLater();
            timespec time = {};
            ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
            cpuMs.store(time.tv_sec * 1000LL + time.tv_nsec / 1000000);
        };
        QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, host.logger, runLoop, Qt::DirectConnection);
        raise(0, 0);
        while (loop.load() == nullptr)
            QThread::usleep(100);
        raiseAll(1, amount); // They wait while the nested loop runs, which must not spin.
        EXPECT(!host.logger->flush(400));
        QMetaObject::invokeMethod(loop.load(), "quit", Qt::QueuedConnection);
        EXPECT(host.isFlushed());
        EXPECT(cpuMs.load() >= 0);
        EXPECT(cpuMs.load() < 200);
        while (!isDeleted.load())
            QThread::usleep(100);
    });
    EXPECT_EQUAL(expectWholeLines().lines[0], amount);
}

SCENARIO(forksOnTheWriterThread, 1000)
{
    runHost({}, [amount] {
        makeLogs(10);
        const Host host;
        std::atomic<pid_t> child{-1};
        const auto connection
            = QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [&](const FileIOObjectPointer &request) {
                  if (request->contentList.constFirst().contains("is removed"_q))
                      child.store(::fork());
              });
        host.logger->stopThread();
        raiseAll(0, amount);
        host.logger->startThread();
        EXPECT(host.isFlushed());
        int end = -1;
        EXPECT(child.load() > 0);
        EXPECT_EQUAL(::waitpid(child.load(), &end, 0), child.load());
        EXPECT_EQUAL(end, 0);
    });
    const Tally tally = expectWholeLines();
    EXPECT_EQUAL(tally.lines[0], amount);
    EXPECT_EQUAL(tally.others.size(), 1);
}

} // namespace
