// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <cerrno>
#include <cstdio>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

QString diskPath(const char *name = "")
{
    return QDir::cleanPath(logDirectory() + ".."_q) + QLatin1Char('/') + QLatin1String(name);
}

// Mounts a disk of one MiB, which only this process sees, under the log directory, or changes it.
bool mountDisk(unsigned long flags)
{
    int status = -1;
    for (int wait = 0; wait < 500 && status != 0 && (wait == 0 || errno == EBUSY); ++wait) {
        status = ::mount("tmpfs", QFile::encodeName(diskPath()).constData(), "tmpfs", flags, "size=1m");
        ::usleep(status == 0 ? 0 : 10000); // Files are closed in their turn.
    }
    return status == 0;
}

void mountPrivateDisk()
{
    if (!QDir().mkpath(diskPath()) || ::unshare(CLONE_NEWNS) != 0
        || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 || !mountDisk(0)) {
        std::puts("SKIPPED: mounting a disk in a private mount namespace is not allowed here");
        std::fflush(stdout);
        ::_exit(kHostSkipped);
    }
}

// Takes the disk's space but for `left` bytes.
bool fillDisk(qint64 left)
{
    QFile filler(diskPath("filler"));
    if (!filler.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
        return false;
    while (filler.write(QByteArray(4096, 'f')) > 0) { }
    return filler.resize(qMax(0LL, filler.size() - left));
}

SCENARIO(thinsTheLogDirectory, 25)
{
    for (const bool leavesAtOnce : {false, true}) {
        runHost({}, [amount, leavesAtOnce] {
            const QStringList kept = makeLogs(amount).mid(amount - 9);
            const QString currentPath = QDir::currentPath();
            const Host host;
            raise(0, 0);
            if (leavesAtOnce)
                return;
            EXPECT(host.isFlushed());
            host.logger->stopThread(); // It waits until the check has ended.
            EXPECT_EQUAL(QDir::currentPath(), currentPath);
            host.logger->startThread();
            const QFileInfoList threads = QDir("/proc/self/task"_q).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot);
            for (const QFileInfo &thread : threads) {
                const QString path = QFile::symLinkTarget(thread.filePath() + "/cwd"_q) + QLatin1Char('/');
                EXPECT(path != logDirectory());
            }
            raise(0, 1);
            EXPECT(host.isFlushed());
            EXPECT_EQUAL(logNames().size(), 10);
            EXPECT_EQUAL(logNames().mid(0, 9), kept);
        });
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.lines[0], (leavesAtOnce ? 1 : 2));
        EXPECT_EQUAL(tally.gaps, 0);
        const auto removals = tally.others.filter("<Debug:> The file : \"log-2020-"_q);
        EXPECT_EQUAL(removals.size(), amount - 9);
        EXPECT_EQUAL(tally.others, removals);
    }
}

SCENARIO(fillsTheDisk, 30000)
{
    runHost({}, [amount] {
        mountPrivateDisk();
        const Host host;
        raiseAll(0, 10);
        EXPECT(host.isFlushed());
        EXPECT(fillDisk(8192));
        raiseAll(10, 30);
        raise(0, 30, 20000); // More than QFile buffers.
        raiseAll(31, 40);
        EXPECT(!host.isFlushed());
        expectWholeLines();
        EXPECT(QFile::remove(diskPath("filler")));
        raiseAll(40, 50);
        EXPECT(host.isFlushed());
        expectWholeLines(50);

        // More than is kept.
        EXPECT(fillDisk(0));
        raiseAll(50, amount);
        EXPECT(!host.isFlushed());
        EXPECT(QFile::remove(diskPath("filler")));
        raiseAll(amount, amount + 10);
        EXPECT(host.isFlushed());
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.next[0], amount + 10);
        EXPECT_EQUAL(tally.gaps, 1);
        EXPECT(tally.lines[0] > 560);
    });
}

SCENARIO(findsNoPlaceToWrite, 10)
{
    runHost({}, [amount] {
        mountPrivateDisk();
        const QString directory = logDirectory().chopped(1);
        const Host host;
        raiseAll(0, amount);
        EXPECT(host.isFlushed());
        EXPECT(removeLogDirectory());
        raiseAll(amount, 2 * amount);
        EXPECT(host.isFlushed());
        EXPECT(!QFile::exists(directory));
        for (const bool isReadOnly : {false, true, false}) {
            host.logger->clearData();
            startLogging();
            raiseAll(0, amount);
            EXPECT(host.isFlushed());
            expectWholeLines(amount);

            host.logger->disableOutputFile();
            EXPECT(host.isFlushed());
            EXPECT(removeLogDirectory());
            EXPECT(isReadOnly ? mountDisk(MS_REMOUNT | MS_RDONLY) : makeFile(directory));
            host.logger->enableOutputFile();
            raiseAll(0, amount);
            EXPECT(!host.isFlushed());
            EXPECT(isReadOnly ? mountDisk(MS_REMOUNT) : removeLogDirectory());
            raiseAll(0, amount);
            EXPECT(!host.isFlushed());
            EXPECT(logNames().isEmpty());
        }
    });
}

} // namespace
