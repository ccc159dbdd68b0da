// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace {

// An emulator takes long to fork, and a sanitizer to let a process end.
#ifdef Q_PROCESSOR_ARM
constexpr int kForks = 40;
#else
constexpr int kForks = kIsSanitized ? 8 : 400;
#endif

// Everything that a host can ask the logger for.
void callEveryOperation(QtDebugLogger *logger)
{
    qDebug("a message");
    logger->setLogCategoryEnabled(true, 1);
    logger->clearData();
    logger->stopThread();
    logger->startThread();
    logger->flush(-1);
    logger->disableOutputFile();
    logger->enableOutputFile();
    Q_EMIT logger->handleIOSignal(FileIOObjectPointer(new FileIOObject(nullptr)));
    Q_EMIT logger->clearSignal();
}

SCENARIO(forksWhileThreadsLogAndControl, kForks)
{
    // A sanitizer holds what the parent's threads own for leaked.
    const QByteArray fromChildren = QByteArray("a message\n").repeated(amount);
    runHost({kHostSucceeded, kIsSanitized ? nullptr : fromChildren.constData()}, [amount] {
        const QtMessageHandler defaultHandler = Recorder().formerHandler;
        const Host host;
        LoggingThreads threads(3, 100);
        std::atomic<bool> isOver{false};
        std::thread controller([&isOver, logger = host.logger] {
            // Without file output, messages would take a lock of Qt's that a child can't have.
            while (!isOver.load()) {
                logger->stopThread();
                Q_EMIT logger->clearSignal();
                logger->setLogCategoryEnabled(true, 1);
                logger->startThread();
                logger->flush(1);
            }
        });
        int succeeded = 0;
        for (int attempt = 0; attempt < amount; ++attempt) {
            const pid_t child = ::fork();
            if (child == 0) {
                ::alarm(10); // Nothing may wait for a lock that no thread of the child holds.
                const bool isHandlerRestored = Recorder().formerHandler == defaultHandler;
                callEveryOperation(host.logger);
                std::exit(isHandlerRestored ? kHostSucceeded : 1);
            }
            int end = 0;
            ::waitpid(child, &end, 0);
            succeeded += WIFEXITED(end) && (kIsSanitized || WEXITSTATUS(end) == kHostSucceeded) ? 1 : 0;
        }
        isOver.store(true);
        controller.join();
        EXPECT_EQUAL(succeeded, amount);
        const std::vector<int> raised = threads.finish();
        EXPECT(host.isFlushed());
        EXPECT_EQUAL(expectWholeLines(raised[0]).lines, raised);
    });
}

} // namespace
