// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <QScopeGuard>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

#ifdef Q_PROCESSOR_ARM
constexpr int kForks = 40; // An emulator takes long to fork.
#else
constexpr int kForks = 400;
#endif

// Everything that a host can ask the logger for.
void callEveryOperation(QtDebugLogger *logger)
{
    qDebug("a message");
    logger->setLogCategoryEnabled(true, 1);
    logger->clearData();
    logger->stopThread();
    logger->startThread();
    logger->flush(0);
    logger->flush(-1);
    logger->disableOutputFile();
    logger->enableOutputFile();
    Q_EMIT logger->handleIOSignal(FileIOObjectPointer(new FileIOObject(nullptr)));
    Q_EMIT logger->clearSignal();
}

struct LateMessage
{
    ~LateMessage() { qWarning("late: %s", text); }
    Q_DISABLE_COPY(LateMessage)
    const char *const text;
};

SCENARIO(leaves, 100000)
{
    for (const bool isByThread : {false, true}) {
        const auto exitProcess = [isByThread] {
            raiseAll(0, 2000);
            isByThread ? std::thread(std::exit, kHostSucceeded).join() : std::exit(kHostSucceeded);
        };
        runHost({}, [exitProcess] {
            const Host host;
            exitProcess();
        });
        expectWholeLines(2000);
        runHost({}, [exitProcess] { // Without an application object.
            startLogging();
            exitProcess();
        });
        expectWholeLines(2000);
    }
    runHost({}, [amount] {
        const Host host;
        raiseAll(0, amount);
    });
    expectWholeLines(amount);
}

SCENARIO(leavesWhileThreadsLogAndControl, 10)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        runHost({kHostSucceeded, nullptr}, [attempt] {
            qSetMessagePattern("%{message}"_q); // Qt's own static has to outlive the threads.
            static const LoggingThreads outliveTheLogger(3, 50);
            static std::thread outlivesTheLogger;
            static const auto joinAtLast = qScopeGuard([] { outlivesTheLogger.join(); });
            const Host host;
            // Calling a logger that is gone is the host's fault, and a sanitizer stops it. It should do no harm though.
            outlivesTheLogger = std::thread(controlAtRandom, kIsSanitized ? 0 : 300);
            QThread::msleep(10);
            if (attempt % 2 != 0)
                std::exit(kHostSucceeded);
        });
        expectWholeLines();
    }
}

SCENARIO(leavesWithAStalledDisk, 10)
{
    const QByteArray expectedMessage = "Brindlecast: " + QByteArray::number(amount) + " log lines were not written\n";
    const qint64 lifetimeMs = runHost({kHostSucceeded, expectedMessage.constData()}, [amount] {
        const Host host;
        raise(0, 0);
        EXPECT(host.isFlushed());
        disk.store(Disk::Stalled);
        raiseAll(1, amount + 1);
    });
    EXPECT(lifetimeMs < 3500);
    expectWholeLines(1);
}

SCENARIO(logsFromStaticDestructors, 4)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const bool exits = attempt % 2 != 0; // Then application and logger live on for a while.
        runHost({kHostSucceeded, exits ? "late: after\n" : "late: before\nlate: after\n"}, [exits] {
            static const LateMessage afterTheLogger{"after"};
            const Host host;
            static const LateMessage beforeTheLogger{"before"};
            raise(0, 0);
            if (exits)
                std::exit(kHostSucceeded);
        });
        const Tally tally = expectWholeLines(exits ? -1 : 1);
        EXPECT(!exits || tally.last == "<Warning:> late: before"_q);
    }
}

SCENARIO(logsBeforeAndBetweenApplications, 500)
{
    runHost({kHostSucceeded, "before\nbetween\nhost: late: to the host\n"}, [amount] {
        static const LateMessage toTheHost{"to the host"};
        qWarning("before");
        startLogging();
        raiseAll(0, amount);
        QThread::msleep(50);
        {
            const Host host;
            raiseAll(amount, 2 * amount);
        }
        qWarning("between");
        const Host host;
        raiseAll(2 * amount, 3 * amount);
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
            std::fprintf(stderr, "host: %s\n", text.toLocal8Bit().constData());
        });
    });
    expectWholeLines(3 * amount);
}

SCENARIO(forks, 100)
{
    runHost({kHostSucceeded, kIsSanitized ? nullptr : "raised in the child\n"}, [amount] {
        const Host host;
        raiseAll(0, amount);
        EXPECT(host.isFlushed());
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(20);
            qDebug("raised in the child");
            startLogging()->flush(60000);
            std::exit(0);
        }
        int status = -1;
        EXPECT_EQUAL(::waitpid(child, &status, 0), child);
        EXPECT_EQUAL(status, 0);
        raiseAll(amount, 2 * amount);
    });
    expectWholeLines(2 * amount);
}

// A sanitizer takes long to let a process end, and holds what the parent's threads own for leaked.
SCENARIO(forksWhileThreadsLogAndControl, kIsSanitized ? 8 : kForks)
{
    runHost({kHostSucceeded, nullptr}, [amount] {
        const Host host;
        const LoggingThreads threads(3, 100);
        std::atomic<bool> isOver{false};
        std::thread controller([&isOver] {
            // Without file output, messages would take a lock of Qt's that a child can't have.
            while (!isOver.load()) {
                QtDebugLogger::getInstance()->stopThread();
                QtDebugLogger::getInstance()->clearData();
                QtDebugLogger::getInstance()->setLogCategoryEnabled(true, 1);
                QtDebugLogger::getInstance()->startThread();
                QtDebugLogger::getInstance()->flush(1);
            }
        });
        int succeeded = 0;
        for (int attempt = 0; attempt < amount; ++attempt) {
            const pid_t child = ::fork();
            if (child == 0) {
                ::alarm(10); // Nothing may wait for a lock that no thread of the child holds.
                callEveryOperation(host.logger);
                std::exit(kHostSucceeded);
            }
            int end = 0;
            ::waitpid(child, &end, 0);
            succeeded += WIFEXITED(end) && (kIsSanitized || WEXITSTATUS(end) == kHostSucceeded) ? 1 : 0;
        }
        isOver.store(true);
        controller.join();
        EXPECT_EQUAL(succeeded, amount);
    });
    expectWholeLines();
}

SCENARIO(leavesDuringTheGuardsCheck, 12)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const bool hasChecked = attempt % 2 != 0; // Then Qt's globals that a check makes are gone at the last one.
        runHost({}, [attempt, hasChecked] {
            makeLogs(12);
            qputenv("TZ", "UTC1"); // The next file, an hour later, gets another name.
            auto *const host = new Host; // Not destroyed, if the process exits.
            raise(0, 0);
            if (hasChecked) {
                EXPECT(host->isFlushed());
                makeLogs(12);
                qputenv("TZ", "UTC0");
                host->logger->disableOutputFile();
                startLogging()->stopThread();
                raise(0, 1);
            }
            ::usleep(static_cast<useconds_t>(100 * (attempt / 4)));
            if (attempt % 4 < 2)
                std::exit(kHostSucceeded);
            delete host;
        });
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.lines[0], hasChecked ? 2 : 1);
        EXPECT_EQUAL(tally.others.filter("is removed"_q).size(), hasChecked ? 7 : 3);
    }
}

SCENARIO(leavesWithNobodyReadingStandardError, 10)
{
    const qint64 lifetimeMs = runHost({kHostSucceeded, nullptr}, [amount] {
        int ends[2] = {};
        EXPECT_EQUAL(::pipe2(ends, O_NONBLOCK), 0);
        while (::write(ends[1], "x", 1) == 1) { }
        ::fcntl(ends[1], F_SETFL, 0);
        const Host host;
        raise(0, 0);
        EXPECT(host.isFlushed());
        disk.store(Disk::Stalled);
        raiseAll(1, amount);
        ::dup2(ends[1], STDERR_FILENO);
        static auto *const threads = new LoggingThreads(8, 1000); // Never joined: in the end they wait for ever.
        Q_UNUSED(threads)
    });
    EXPECT(lifetimeMs < 3900);
    expectWholeLines(1);
}

SCENARIO(leavesWhileASlotRuns, 2)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const qint64 lifetimeMs = runHost({}, [attempt] {
            const Host host;
            std::atomic<bool> isInside{false};
            QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [&isInside] {
                isInside.store(true);
                ::pause();
            });
            std::thread([] { raise(0, 0); }).detach();
            while (!isInside.load()) { }
            if (attempt % 2 != 0)
                std::exit(kHostSucceeded);
        });
        EXPECT(lifetimeMs < 2500);
        expectWholeLines(1);
    }
}

SCENARIO(exitsOnTheWriterThread, 1000)
{
    runHost({}, [amount] {
        makeLogs(12);
        startLogging();
        QObject::connect(QtDebugLogger::getInstance(), &QtDebugLogger::handleIOSignal,
                         [](const FileIOObjectPointer &request) {
                             if (request->contentList.constFirst().contains("is removed"_q))
                                 std::exit(kHostSucceeded);
                         });
        QtDebugLogger::getInstance()->stopThread();
        raiseAll(0, amount);
        QtDebugLogger::getInstance()->startThread();
        for (;;)
            ::pause();
    });
    const Tally tally = expectWholeLines();
    EXPECT_EQUAL(tally.lines[0], amount);
    EXPECT_EQUAL(tally.gaps, 0);
    EXPECT_EQUAL(tally.others.value(0), "<Debug:> The file : \"log-2020-01-01_00-00-00.log\" is removed"_q);
}

SCENARIO(printsWhatThePatternLeaves, 1)
{
    runHost({kHostSucceeded, "seen\nafter a host's slot\n"}, [] {
        qSetMessagePattern("%{if-warning}%{message}%{endif}"_q);
        {
            const Host host;
            QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [] {});
        }
        startLogging(); // In vain, without an application.
        qDebug("left out");
        qWarning("seen");
        qWarning("after a host's slot");
    });
}

SCENARIO(leavesTheNamesOfFilesToTheHost, 1)
{
    runHost({}, [] {
        qputenv("LC_ALL", "C.UTF-8");
        startLogging();
        raise(0, 0);
        EXPECT(QtDebugLogger::getInstance()->flush(60000));
        const Host host; // Sets the locale, by which Qt encodes names from then on.
        EXPECT(makeFile(logDirectory() + "\u00e4"_q));
        EXPECT_EQUAL(::access((logDirectory() + "\u00e4"_q).toUtf8().constData(), F_OK), 0);
    });
}

} // namespace
