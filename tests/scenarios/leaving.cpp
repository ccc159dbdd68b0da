// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <QScopeGuard>

#include <cstdlib>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

namespace {

SCENARIO(leaves, 100000)
{
    for (const char *const way : {"main returns", "exit", "exit on another thread", "exit, no application object"}) {
        situation = way;
        runHost({}, [amount] {
            std::optional<Host> host;
            situation.contains("no app") ? static_cast<void>(startLogging()) : static_cast<void>(host.emplace());
            raiseAll(0, amount);
            if (situation.contains("thread"))
                std::thread(std::exit, kHostSucceeded).join();
            if (situation.startsWith("exit"))
                std::exit(kHostSucceeded);
        });
        expectWholeLines(amount);
    }
}

SCENARIO(leavesWhileThreadsLogAndControl, 10)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        runHost({kHostSucceeded, nullptr}, [attempt] {
            // Qt's own globals have to outlive the threads, or it crashes in them, without the logger too.
            qSetMessagePattern("%{message}"_q);
            qDebug("made before the threads");
            QThread::currentThread();
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
    const QByteArray message = "Brindlecast: " + QByteArray::number(amount) + " log lines were not written\n";
    for (const bool isErrorOutputRead : {true, false}) {
        situation = isErrorOutputRead ? "standard error is read" : "nobody reads standard error";
        const qint64 lifetimeMs = runHost({kHostSucceeded, isErrorOutputRead ? message.constData() : nullptr}, [=] {
            const Host host;
            raise(0, 0);
            EXPECT(host.isFlushed());
            disk.store(Disk::Stalled);
            raiseAll(1, amount + 1);
            if (isErrorOutputRead)
                return;
            int ends[2] = {};
            EXPECT_EQUAL(::pipe2(ends, O_NONBLOCK), 0);
            while (::write(ends[1], "x", 1) == 1) { }
            ::fcntl(ends[1], F_SETFL, 0);
            ::dup2(ends[1], STDERR_FILENO);
            static auto *const threads = new LoggingThreads(8, 1000); // Never joined: in the end they wait for ever.
            Q_UNUSED(threads)
        });
        EXPECT_LESS(lifetimeMs, isErrorOutputRead ? 3500 : 3900);
        expectWholeLines(1);
    }
}

// It is the second one: Qt's globals that the first one made are gone in it, if the process exits.
SCENARIO(leavesDuringTheGuardsCheck, 24)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const bool isStopped = attempt % 2 != 0;
        situation = isStopped ? "the writer is stopped" : "the writer runs";
        runHost({}, [attempt, isStopped] {
            qputenv("TZ", "UTC1");
            const Host host;
            raise(0, 0);
            EXPECT(host.isFlushed());
            makeLogs(kFilesKept + 2);
            qputenv("TZ", "UTC0"); // The next file, an hour later, gets another name.
            host.logger->disableOutputFile();
            startLogging();
            if (isStopped)
                host.logger->stopThread();
            raise(0, 1);
            if (attempt % 4 < 2)
                std::exit(kHostSucceeded);
        });
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.lines[0], 2);
        EXPECT_EQUAL(tally.others.filter("is removed"_q).size(), 4);
    }
}

SCENARIO(leavesWhileASlotRuns, 2)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        situation = attempt % 2 != 0 ? "exit" : "main returns";
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
        EXPECT_LESS(lifetimeMs, 2500);
        expectWholeLines(1);
    }
}

} // namespace
