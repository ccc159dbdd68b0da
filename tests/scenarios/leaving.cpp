// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <QScopeGuard>

#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace {

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
    QElapsedTimer timer;
    timer.start();
    const QByteArray told = "Brindlecast: " + QByteArray::number(amount) + " log lines were not written\n";
    runHost({kHostSucceeded, told.constData()}, [amount] {
        const Host host;
        raise(0, 0);
        EXPECT(host.isFlushed());
        disk.store(Disk::Stalled);
        raiseAll(1, amount + 1);
    });
    EXPECT(timer.elapsed() < 3500);
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

} // namespace
