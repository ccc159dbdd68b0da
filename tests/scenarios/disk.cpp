// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

namespace {

SCENARIO(fillsTheDisk, 50)
{
    runHost({}, [amount] {
        const Host host;
        raiseAll(0, 10);
        EXPECT(host.isFlushed());
        EXPECT(limitFileSize(1500));
        raiseAll(10, 30);
        raise(0, 30, 20000); // More than QFile buffers.
        raiseAll(31, 40);
        EXPECT(!host.isFlushed());
        expectWholeLines();
        EXPECT(limitFileSize(RLIM_INFINITY));
        // The next thread finds that all has come to the file.
        disk.store(Disk::StalledAtTheEnd);
        host.logger->disableOutputFile();
        EXPECT(!host.logger->flush(300));
        host.logger->stopThread();
        disk.store(Disk::Sound);
        startLogging();
        EXPECT(host.isFlushed());
        raiseAll(40, amount);
        EXPECT(host.isFlushed());
        expectWholeLines(amount);
    });
}

SCENARIO(findsNoPlaceToWrite, 10)
{
    runHost({}, [amount] {
        EXPECT(makeFile(logDirectory().chopped(1)));
        const Host host;
        raiseAll(0, amount);
        EXPECT(!host.isFlushed());
        EXPECT(removeLogDirectory());
        raiseAll(0, amount);
        EXPECT(!host.isFlushed());
        EXPECT_EQUAL(logNames(), QStringList());
        host.logger->clearData();
        startLogging();
        raiseAll(0, amount);
        EXPECT(host.isFlushed());
    });
    expectWholeLines(amount);
}

SCENARIO(closesItsFilesBeforeAFlushEnds, 100)
{
    runHost({kHostSucceeded, nullptr}, [amount] {
        const Host host;
        QStringList open;
        for (int cycle = 0; cycle < amount; ++cycle) {
            host.logger->enableOutputFile();
            raise(0, cycle);
            host.logger->disableOutputFile();
            EXPECT(host.isFlushed());
            const QFileInfoList descriptors = QDir("/proc/self/fd"_q).entryInfoList(QDir::Files);
            for (const QFileInfo &descriptor : descriptors)
                open.append(descriptor.symLinkTarget());
        }
        EXPECT_EQUAL(open.filter(logDirectory()), QStringList());
    });
    expectWholeLines(amount);
}

// The roll does not depend on how lines are put together.
SCENARIO(rollsAtTheLimit, 2)
{
    for (int slack = -amount; slack <= amount; ++slack) {
        situation = "slack: " + QByteArray::number(slack);
        runHost({}, [slack] {
            const Host host;
            raise(0, 10);
            EXPECT(host.isFlushed());
            const qint64 lineBytes = writtenLogs().size();
            // Out of the way of its successor, which gets the same name when it is made in the same second.
            const QString path = logDirectory() + "aside"_q;
            EXPECT(QDir().rename(logDirectory() + logNames().value(0), path));
            EXPECT(QFile::resize(path, kFileSizeLimit - 5 * lineBytes + slack));
            host.logger->stopThread();
            raiseAll(11, 31);
            host.logger->startThread();
            EXPECT(host.isFlushed());
            const int linesBefore = slack < 0 ? 6 : 5;
            EXPECT_EQUAL(QFileInfo(path).size(), kFileSizeLimit + (linesBefore - 5) * lineBytes + slack);
            EXPECT_EQUAL(writtenLogs().size(), (20 - linesBefore) * lineBytes);
            EXPECT(writtenLogs().left(int(lineBytes)).endsWith(QByteArray::number(11 + linesBefore) + ".|\n\n"));
        });
    }
}

SCENARIO(writesRunsUpToTheEndOfAPage, 3000)
{
    runHost({}, [amount] {
        const Host host;
        host.logger->stopThread();
        for (int number = 0; number < amount; ++number) {
            raise(0, number, number * 7919 % 300);
            if (number % 20 == 0) // More bytes than characters.
                qDebug().noquote() << QString(number % 300, QChar(0x20ac));
        }
        host.logger->startThread();
        EXPECT(host.isFlushed());
        EXPECT_EQUAL(runsAcrossPages.load(), 0);
    });
    const Tally tally = expectWholeLines();
    EXPECT_EQUAL(tally.lines[0], amount);
    EXPECT_EQUAL(tally.others.size(), amount / 20);
}

} // namespace
