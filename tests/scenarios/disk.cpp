// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <sys/stat.h>

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
        raiseAll(40, amount);
        EXPECT(host.isFlushed());
        expectWholeLines(amount);
    });
}

SCENARIO(findsNoPlaceToWrite, 10)
{
    runHost({}, [amount] {
        const QString directory = logDirectory().chopped(1);
        const Host host;
        raiseAll(0, amount);
        EXPECT(host.isFlushed());
        EXPECT(removeLogDirectory());
        raiseAll(amount, 2 * amount);
        EXPECT(host.isFlushed());
        EXPECT(!QFile::exists(directory));
        for (int round = 0; round < 2; ++round) {
            host.logger->clearData();
            startLogging();
            raiseAll(0, amount);
            EXPECT(host.isFlushed());
            expectWholeLines(amount);

            host.logger->disableOutputFile();
            EXPECT(host.isFlushed());
            EXPECT(removeLogDirectory());
            EXPECT(makeFile(directory));
            host.logger->enableOutputFile();
            raiseAll(0, amount);
            EXPECT(!host.isFlushed());
            EXPECT(removeLogDirectory());
            raiseAll(0, amount);
            EXPECT(!host.isFlushed());
            EXPECT_EQUAL(logNames(), QStringList());
        }
    });
}

SCENARIO(closesItsFilesBeforeAFlushEnds, 100)
{
    runHost({kHostSucceeded, nullptr}, [amount] {
        const Host host;
        ::umask(077);
        QStringList open;
        for (int cycle = 0; cycle < amount; ++cycle) {
            host.logger->enableOutputFile();
            raise(0, cycle);
            EXPECT(cycle % 2 == 0 || host.isFlushed());
            host.logger->disableOutputFile();
            EXPECT(host.logger->flush(20000));
            const QFileInfoList descriptors = QDir("/proc/self/fd"_q).entryInfoList(QDir::Files);
            for (const QFileInfo &descriptor : descriptors)
                open.append(descriptor.symLinkTarget());
        }
        EXPECT_EQUAL(open.filter(logDirectory()), QStringList());
        const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        EXPECT_EQUAL(QFile::permissions(logDirectory() + logNames().value(0)) & others, QFile::Permissions());
    });
    expectWholeLines(amount);
}

class Logger : public QtDebugLogger // clazy:exclude=missing-qobject-macro
{
public:
    using QtDebugLogger::appendLog;
};

// The roll does not depend on how lines are put together, nor on whose they are.
SCENARIO(rollsAtTheLimit, 2)
{
    constexpr int kLines = 20;
    constexpr int kLineBytes = 8;
    constexpr qint64 kLimit = kFileSizeLimit;
    for (int slack = -amount; slack <= amount; ++slack) {
        for (const int categories : {1, 2}) {
            situation = "categories: " + QByteArray::number(categories) + ", slack: " + QByteArray::number(slack);
            runHost({}, [slack, categories] {
                const Host host;
                const auto append = [&host, categories](const QString &text) {
                    static unsigned number = 0;
                    const unsigned long category = categories == 1 ? 2 : 1 + ++number % 2;
                    (host.logger->*&Logger::appendLog)(text, category);
                };
                qputenv("TZ", "UTC1"); // The next file, an hour later, gets another name.
                do { // Until both categories begin in the same second.
                    host.logger->clearData();
                    EXPECT(host.isFlushed());
                    EXPECT(removeLogDirectory());
                    host.logger->setLogCategoryEnabled(true, 3);
                    append("first"_q);
                    append("first"_q);
                    EXPECT(host.isFlushed());
                } while (logNames().size() != 1);
                const QString path = logDirectory() + logNames().constFirst();
                EXPECT(QFile::resize(path, kLimit - qint64(5 * kLineBytes) + slack));
                qputenv("TZ", "UTC0");
                host.logger->stopThread();
                for (int number = 0; number < kLines; ++number)
                    append("line %1"_q.arg(number, 2, 10, QLatin1Char('0')));
                host.logger->startThread();
                EXPECT(host.isFlushed());
                const int linesBefore = slack < 0 ? 6 : 5;
                EXPECT_EQUAL(QFileInfo(path).size(), kLimit + qint64((linesBefore - 5) * kLineBytes) + slack);
                EXPECT(QFile::resize(path, 0));
                const QByteArray after = writtenLogs();
                EXPECT_EQUAL(after.size(), (kLines - linesBefore) * kLineBytes);
                EXPECT(after.contains("line 0" + QByteArray::number(linesBefore)));
            });
        }
    }
}

SCENARIO(writesRunsUpToTheEndOfAPage, 3000)
{
    for (const Disk kind : {Disk::Sound, Disk::RefusesRuns}) {
        situation = kind == Disk::Sound ? "a sound disk" : "a disk that refuses runs"; // They are written singly then.
        runHost({}, [amount, kind] {
            const Host host;
            host.logger->stopThread();
            for (int number = 0; number < amount; ++number) {
                raise(0, number, number * 7919 % 300);
                if (number % 20 == 0) // More bytes than characters.
                    qDebug().noquote() << QString(number % 300, QChar(0x20ac));
            }
            disk.store(kind);
            host.logger->startThread();
            EXPECT(host.isFlushed());
            EXPECT_LESS(amount / 50, runsWritten.load());
            EXPECT_EQUAL(runsAcrossPages.load(), 0);
        });
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.lines[0], amount);
        EXPECT_EQUAL(tally.others.size(), amount / 20);
    }
}

} // namespace
