// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Usage: tst_scenarios NAME [AMOUNT]
// Runs hosts of the logger, each in a process of its own, since a process has one logger and these end in many ways.
// AMOUNT is how many lines, tries, cycles or seconds, for more than the few that the test suite has time for.
// Exit status 77: the machine does not allow it.

#include "support/Load.h"
#include "support/TestSupport.h"
#include "support/ThreadSanitizer.h"

#include <QElapsedTimer>
#include <QMap>
#include <QRegularExpression>
#include <QScopeGuard>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <dlfcn.h>
#include <malloc.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kFine = 3;
constexpr int kSkipped = 77;
#ifdef __SANITIZE_ADDRESS__
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

enum class Disk { Sound, Slow, Stalled };
std::atomic<Disk> disk{Disk::Sound};

} // namespace

#ifndef __SANITIZE_THREAD__
// In the place of the C library's, and like that one a point where a thread can be cancelled.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" Q_DECL_EXPORT ssize_t write(int descriptor, const void *bytes, size_t size)
{
    using Write = ssize_t (*)(int, const void *, size_t);
    static const auto realWrite = reinterpret_cast<Write>(::dlsym(RTLD_NEXT, "write"));
    // No pipe, and no variable here: the address sanitizer misses that a cancelled thread leaves its stack.
    const bool isFile = descriptor > STDERR_FILENO && ::lseek(descriptor, 0, SEEK_CUR) >= 0;
    if (disk.load() != Disk::Sound && isFile) {
        do
            ::usleep(1000);
        while (disk.load() == Disk::Stalled);
    }
    return realWrite(descriptor, bytes, size);
}
#endif

namespace {

std::atomic<int> result{0};

// Notes a failure, with the text that says what should be, unless it `held`.
bool expect(bool held, const char *what)
{
    if (!held) {
        result.store(1);
        std::fprintf(stderr, "FAILED: %s\n", what);
    }
    return held;
}

// How a host should end: with an exit status, or minus a signal, and those bytes on standard error, if any are given.
struct End
{
    int status = kFine;
    const char *errors = "";
    useconds_t killedAfterUs = 0;
};

// Empties the log directory and runs `host` as the main() of a new process, which returns kFine unless an expectation
// fails.
void runHost(const End &expected, const std::function<void()> &host)
{
    std::FILE *const output = std::tmpfile();
    const pid_t process = output == nullptr || !removeLogDirectory() ? -1 : ::fork();
    if (process == 0) {
        result.store(0);
        ::dup2(::fileno(output), STDERR_FILENO);
        ::alarm(100);
        const rlimit noCore = {0, 0};
        ::setrlimit(RLIMIT_CORE, &noCore);
        qputenv("QT_FORCE_STDERR_LOGGING", "1");
        host();
        std::exit(result.load() == 0 ? kFine : 1);
    }
    if (expected.killedAfterUs > 0) {
        ::usleep(expected.killedAfterUs);
        ::kill(process, SIGKILL);
    }
    int end = 0;
    if (!expect(process > 0 && ::waitpid(process, &end, 0) == process, "a process"))
        return;
    const int status = WIFEXITED(end) ? WEXITSTATUS(end) : -WTERMSIG(end);
    QFile file;
    file.open(output, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    file.seek(0);
    const QByteArray errors = file.readAll();
    const bool isAsExpected = status == expected.status && (expected.errors == nullptr || errors == expected.errors);
    if (status == kSkipped)
        result.store(kSkipped);
    else if (!expect(isAsExpected, "the host's end"))
        std::fprintf(stderr, "It ended with %d and:\n%s", status, errors.right(12000).constData());
}

QtDebugLogger *startLogging()
{
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    return logger;
}

struct Host
{
    bool isFlushed() const { return logger->flush(60000); }

    int argumentCount = 0;
    Application application{argumentCount, nullptr};
    QtDebugLogger *logger = startLogging();
};

void raiseAll(int from, int to)
{
    for (int number = from; number < to; ++number)
        raise(0, number);
}

// What the log files hold.
struct Tally
{
    Loggers::Counts lines{}; // Of the messages that raise() makes, by source.
    Loggers::Counts next{}; // The number after the last one.
    int gaps = 0;
    QStringList others; // All other messages, with their labels.
    QString last;
    QDateTime time; // Of the last one.
};

// Expects whole lines in order only; with `count`, that many of source 0 without a gap, and no other messages.
Tally expectWholeLines(int count = -1)
{
    static const QRegularExpression pattern(
        "^\\[(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)\\] (<\\w+:> )\\S* \\d+: ((?:t(\\d) (\\d+)\\. *\\|$)?.*)$"_q,
        QRegularExpression::DotMatchesEverythingOption);
    Tally tally;
    int broken = 0; // Records that are none, or out of order, or the second of two that are the same.
    const QByteArray bytes = writtenLogs();
    for (decltype(bytes.size()) begin = 0, end = 0; begin < bytes.size(); begin = end + 2) {
        end = bytes.indexOf("\n\n", begin);
        end = end < 0 ? bytes.size() : end;
        const QRegularExpressionMatch match = pattern.match(QString::fromUtf8(bytes.mid(begin, end - begin)));
        tally.time = QDateTime::fromString(match.captured(1), "yyyy-MM-dd hh:mm:ss"_q);
        tally.last = match.captured(2) + match.captured(3);
        if (!match.hasMatch() || end == bytes.size()) {
            ++broken;
        } else if (match.captured(5).isEmpty()) {
            tally.others.append(tally.last);
        } else {
            const auto source = match.captured(4).toUInt();
            const int number = match.captured(5).toInt();
            tally.gaps += number > tally.next.at(source) ? 1 : 0;
            broken += number < tally.next.at(source) ? 1 : 0;
            tally.next.at(source) = number + 1;
            ++tally.lines.at(source);
        }
    }
    const bool isComplete = count < 0 || (tally.gaps == 0 && tally.lines[0] == count && tally.others.isEmpty());
    if (!expect(broken == 0 && isComplete, "whole lines in order"))
        std::fprintf(stderr, "%d of %d lines, %d broken, %d gaps, others: %s\n", tally.lines[0], count, broken,
                     tally.gaps, qPrintable(tally.others.value(0)));
    return tally;
}

// What malloc has given out, in KiB; 0 where a sanitizer has its own. The process's size would be the emulator's.
std::size_t memoryInUse()
{
    const struct mallinfo2 memory = ::mallinfo2();
    return (memory.uordblks + memory.hblkhd) / 1024;
}

struct LateMessage
{
    ~LateMessage() { qWarning("late: %s", text); }
    Q_DISABLE_COPY(LateMessage)
    const char *const text;
};

// How much of it the test suite has time for, and the function.
using Scenario = std::pair<int, void (*)(int amount)>;

QMap<QLatin1String, Scenario> &scenarios()
{
    static QMap<QLatin1String, Scenario> all;
    return all;
}

#define SCENARIO(name, shortAmount)                                                                   \
    void name(int amount);                                                                            \
    const bool name##IsKnown = (scenarios().insert(QLatin1String(#name), {shortAmount, name}), true); \
    void name(int amount)

SCENARIO(leaves, 100000)
{
    for (const bool isByThread : {false, true}) {
        const auto exitProcess = [isByThread] {
            raiseAll(0, 2000);
            isByThread ? std::thread(std::exit, kFine).join() : std::exit(kFine);
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
        runHost({kFine, nullptr}, [attempt] {
            qSetMessagePattern("%{message}"_q); // Qt's own static has to outlive the threads.
            static const Loggers outliveTheLogger(3, 50);
            static std::thread outlivesTheLogger;
            static const auto joinAtLast = qScopeGuard([] { outlivesTheLogger.join(); });
            const Host host;
            // Calling a logger that is gone is the host's fault, and a sanitizer stops it. It should do no harm though.
            outlivesTheLogger = std::thread(controlAtRandom, kIsSanitized ? 0 : 300);
            QThread::msleep(10);
            if (attempt % 2 != 0)
                std::exit(kFine);
        });
        expectWholeLines();
    }
}

SCENARIO(leavesWithAStalledDisk, 10)
{
    QElapsedTimer timer;
    timer.start();
    const QByteArray told = "Brindlecast: " + QByteArray::number(amount) + " log lines were not written\n";
    runHost({kFine, told.constData()}, [amount] {
        const Host host;
        raise(0, 0);
        expect(host.isFlushed(), "a line written before the stall");
        disk.store(Disk::Stalled);
        raiseAll(1, amount + 1);
    });
    expect(timer.elapsed() < 3500, "an end within three seconds");
    expectWholeLines(1);
}

SCENARIO(logsFromStaticDestructors, 4)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const bool exits = attempt % 2 != 0; // Then application and logger live on for a while.
        runHost({kFine, exits ? "late: after\n" : "late: before\nlate: after\n"}, [exits] {
            static const LateMessage afterTheLogger{"after"};
            const Host host;
            static const LateMessage beforeTheLogger{"before"};
            raise(0, 0);
            if (exits)
                std::exit(kFine);
        });
        const Tally tally = expectWholeLines(exits ? -1 : 1);
        expect(!exits || tally.last == "<Warning:> late: before"_q, "a late line in the file");
    }
}

SCENARIO(logsBeforeAndBetweenApplications, 500)
{
    runHost({kFine, "before\nbetween\nhost: late: to the host\n"}, [amount] {
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

SCENARIO(raisesAFatalMessage, 20)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const int timeoutMs = attempt % 5 == 0 ? 0 : 2000;
        runHost({-SIGABRT, nullptr}, [timeoutMs] {
            const Host host;
            host.logger->setFatalFlushTimeout(timeoutMs);
            raiseAll(0, 2000);
            qFatal("the end");
        });
        const Tally tally = expectWholeLines();
        const bool isComplete = tally.lines[0] == 2000 && tally.last == "<Fatal:> the end"_q;
        expect(timeoutMs == 0 || isComplete, "all lines, and the fatal one at the end");
    }
}

SCENARIO(forks, 100)
{
    runHost({kFine, kIsSanitized ? nullptr : "raised in the child\n"}, [amount] {
        const Host host;
        raiseAll(0, amount);
        expect(host.isFlushed(), "lines written before the fork");
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(20);
            qDebug("raised in the child");
            startLogging()->flush(60000);
            std::exit(0);
        }
        int status = -1;
        expect(::waitpid(child, &status, 0) == child && status == 0, "a child that may exit");
        raiseAll(amount, 2 * amount);
    });
    expectWholeLines(2 * amount);
}

SCENARIO(isKilledUnderLoad, 15)
{
    int lines = 0;
    for (int attempt = 0; attempt < amount; ++attempt) {
        const unsigned patience = lines > 0 ? 1 : static_cast<unsigned>(attempt) + 1; // An emulator starts slowly.
        runHost({-SIGKILL, "", 20000 + std::random_device()() % (150000 * patience)}, [] {
            const Host host;
            const Loggers loggers(4, 0);
            ::pause();
        });
        const Tally tally = expectWholeLines();
        expect(tally.gaps == 0 && tally.others.isEmpty(), "nothing missing before the end");
        lines += tally.lines[0];
    }
    expect(lines > 0, "lines written before the process was killed");
}

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
        expect(expectWholeLines(1).lines == Loggers::Counts{1, 1, 1, 1, 1, 1, 1, 1}, "the line of each thread");
    }
}

SCENARIO(stopsAndStartsUnderLoad, 300)
{
    runHost({}, [amount] {
        const Host host;
        Loggers loggers(4, 1000);
        const auto descriptors = [] { return QDir("/proc/self/fd"_q).entryList(QDir::System | QDir::Files).size(); };
        auto descriptorsBefore = descriptors();
        std::size_t memoryBefore = 0;
        qint64 longestStopMs = 0;
        for (int cycle = 0; cycle < amount; ++cycle) {
            QElapsedTimer timer;
            timer.start();
            host.logger->stopThread();
            longestStopMs = qMax(longestStopMs, timer.elapsed());
            QThread::usleep(std::random_device()() % 3000);
            host.logger->startThread();
            if (cycle == amount / 10) {
                expect(host.isFlushed(), "a queue worked off");
                descriptorsBefore = descriptors();
                memoryBefore = memoryInUse();
            }
        }
        const Loggers::Counts raised = loggers.finish();
        expect(host.isFlushed() && expectWholeLines(raised[0]).lines == raised, "all lines of all threads");
        expect(descriptors() == descriptorsBefore && memoryInUse() <= memoryBefore + 1024, "nothing leaked");
        expect(longestStopMs < 1500, "no stop by force");
    });
}

SCENARIO(isControlledAtRandom, 3)
{
    runHost({kFine, nullptr}, [amount] {
        const Host host;
        {
            const Loggers loggers(4, 500);
            std::thread other(controlAtRandom, 1000 * amount);
            controlAtRandom(1000 * amount);
            other.join();
        }
        startLogging();
        const QDateTime now = QDateTime::currentDateTime();
        qDebug("the last line");
        expect(host.isFlushed(), "a logger that goes on");
        const Tally tally = expectWholeLines();
        expect(tally.time.addSecs(1) > now, "the time of the line, not of the thread's line before");
        const QStringList removals = tally.others.filter("<Debug:> The file :"_q);
        expect(tally.last == "<Debug:> the last line"_q && tally.others == removals + QStringList(tally.last),
               "no others");
    });
}

SCENARIO(isFlooded, 20000)
{
    constexpr int kMostWaiting = 262144;
    runHost({}, [amount] {
        const Host host;
        host.logger->stopThread();
        raiseAll(0, kMostWaiting);
        const std::size_t memoryBefore = memoryInUse();
        raiseAll(kMostWaiting, kMostWaiting + amount);
        expect(memoryInUse() <= memoryBefore + 2048, "flat memory past the bound");
        host.logger->startThread();
        expect(host.isFlushed(), "the queue worked off");
        qDebug("the line after");
    });
    const Tally tally = expectWholeLines();
    expect(tally.lines[0] == kMostWaiting && tally.gaps == 0, "the lines within the bound");
    expect(tally.others.value(0).startsWith("<Warning:> %1 lines"_q.arg(amount)) && tally.others.size() == 2
               && tally.last == "<Debug:> the line after"_q,
           "what was dropped, and the line after that");
}

SCENARIO(flushesAllThatWaits, 40)
{
    runHost({}, [amount] {
        const Host host;
        raise(0, 0);
        // Messages of the space guard overtake the queue. It looks when a file of a new name is begun.
        expect(host.isFlushed() && !makeLogs(25).isEmpty(), "old logs");
        disk.store(Disk::Slow);
        raiseAll(1, amount);
        FileIOObjectPointer startup(new FileIOObject(nullptr));
        startup->category = 4;
        Q_EMIT host.logger->handleIOSignal(startup);
        raiseAll(amount, 2 * amount);
        expect(host.isFlushed() && expectWholeLines().lines[0] == 2 * amount, "the lines raised before the flush");
    });
}

SCENARIO(stopsInAStalledWrite, 10)
{
    for (const auto &[isShort, held] : {std::pair(true, amount), std::pair(false, amount), std::pair(false, 1)}) {
        runHost({}, [amount, isShort = isShort, held = held] {
            const Host host;
            raiseAll(0, amount);
            expect(host.isFlushed(), "lines written before the stall");
            disk.store(Disk::Stalled);
            raiseAll(amount, amount + held);
            QElapsedTimer timer;
            timer.start();
            expect(!host.logger->flush(300) && timer.elapsed() >= 300 && timer.elapsed() < 1500, "a flush in vain");
            std::thread relief([isShort] {
                QThread::msleep(isShort ? 500 : 3500);
                disk.store(Disk::Sound);
            });
            timer.restart();
            host.logger->stopThread();
            expect(timer.elapsed() < 3000, "a stop within three seconds");
            raiseAll(amount + held, amount + 2 * held - 1);
            relief.join();
            host.logger->startThread();
            expect(host.isFlushed(), "everything written in the end");
            raiseAll(amount + 2 * held - 1, 4 * amount);
        });
        expectWholeLines(4 * amount);
    }
}

SCENARIO(thinsTheLogDirectory, kFilesKept + 15)
{
    for (const bool leavesAtOnce : {false, true}) {
        runHost({}, [amount, leavesAtOnce] {
            const QStringList kept = makeLogs(amount).mid(amount - kFilesKept + 1);
            const QString currentPath = QDir::currentPath();
            const Host host;
            raise(0, 0);
            if (leavesAtOnce)
                return;
            expect(host.isFlushed(), "the first line written");
            host.logger->stopThread(); // It waits until the check has ended.
            expect(QDir::currentPath() == currentPath, "the host's current directory");
            host.logger->startThread();
            const QFileInfoList threads = QDir("/proc/self/task"_q).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot);
            for (const QFileInfo &thread : threads) {
                const QString path = QFile::symLinkTarget(thread.filePath() + "/cwd"_q) + QLatin1Char('/');
                expect(path != logDirectory(), "no thread left in the log directory");
            }
            raise(0, 1);
            expect(host.isFlushed() && logNames().size() == kFilesKept && logNames().mid(0, kFilesKept - 1) == kept,
                   "the newest logs");
        });
        const Tally tally = expectWholeLines();
        expect(tally.lines[0] == (leavesAtOnce ? 1 : 2) && tally.gaps == 0, "the host's lines");
        const auto removals = tally.others.filter("<Debug:> The file : \"log-2020-"_q);
        expect(removals.size() == amount - kFilesKept + 1 && tally.others == removals, "each removal told once");
    }
}

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
        ::_exit(kSkipped);
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

SCENARIO(fillsTheDisk, 30000)
{
    runHost({}, [amount] {
        mountPrivateDisk();
        const Host host;
        raiseAll(0, 10);
        expect(host.isFlushed() && fillDisk(8192), "a disk all but full");
        raiseAll(10, 30);
        raise(0, 30, 20000); // More than QFile buffers.
        raiseAll(31, 40);
        expect(!host.isFlushed(), "a flush that tells of the full disk");
        expectWholeLines();
        expect(QFile::remove(diskPath("filler")), "space again");
        raiseAll(40, 50);
        expect(host.isFlushed(), "a flush that tells of the space");
        expectWholeLines(50);

        // More than is kept.
        expect(fillDisk(0), "a full disk");
        raiseAll(50, amount);
        expect(!host.isFlushed() && QFile::remove(diskPath("filler")), "space again");
        raiseAll(amount, amount + 10);
        expect(host.isFlushed(), "a flush that tells of the space");
        const Tally tally = expectWholeLines();
        expect(tally.next[0] == amount + 10 && tally.gaps == 1 && tally.lines[0] > 560, "64 KiB kept, and the newest");
    });
}

SCENARIO(findsNoPlaceToWrite, 10)
{
    runHost({}, [amount] {
        mountPrivateDisk();
        const QString directory = logDirectory().chopped(1);
        const Host host;
        raiseAll(0, amount);
        expect(host.isFlushed() && removeLogDirectory(), "a log directory to lose");
        raiseAll(amount, 2 * amount);
        expect(host.isFlushed() && !QFile::exists(directory), "lines for a file that is gone");
        for (const bool isReadOnly : {false, true, false}) {
            host.logger->clearData();
            startLogging();
            raiseAll(0, amount);
            expect(host.isFlushed(), "lines again");
            expectWholeLines(amount);

            host.logger->disableOutputFile();
            expect(host.isFlushed() && removeLogDirectory(), "files closed and removed");
            expect(isReadOnly ? mountDisk(MS_REMOUNT | MS_RDONLY) : makeFile(directory), "a way to fail");
            host.logger->enableOutputFile();
            raiseAll(0, amount);
            expect(!host.isFlushed(), "a flush in vain");
            expect(isReadOnly ? mountDisk(MS_REMOUNT) : removeLogDirectory(), "a way to succeed");
            raiseAll(0, amount);
            expect(!host.isFlushed() && logNames().isEmpty(), "silence until a clear");
        }
    });
}

} // namespace

int main(int argc, char *argv[])
{
    const auto [amount, run] = scenarios().value(QLatin1String(argc > 1 ? argv[1] : ""));
    if (run == nullptr) {
        std::fputs("usage: tst_scenarios NAME [AMOUNT]\n", stderr);
        return 2;
    }
    run(argc > 2 ? QByteArray(argv[2]).toInt() : amount);
    return result.load();
}
