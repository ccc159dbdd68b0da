// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Usage: tst_scenarios NAME [AMOUNT]
// AMOUNT is how many lines, tries, cycles or seconds, for more than the few that the test suite has time for.

#include "HostProcess.h"

#include <QElapsedTimer>
#include <QMap>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

QByteArray situation;
std::atomic<Disk> disk{Disk::Sound};
std::atomic<int> runsWritten{0};
std::atomic<int> runsAcrossPages{0};

namespace {

constexpr qint64 kPageBytes = 4096;

std::atomic<int> result{0};

QMap<QLatin1String, std::pair<int, Scenario>> &scenarios()
{
    static QMap<QLatin1String, std::pair<int, Scenario>> all;
    return all;
}

#ifndef __SANITIZE_THREAD__
std::atomic<bool> isRestRefused{false};

// Whether these are several lines; notes it, and where in the file they would lie.
bool isRun(int descriptor, const char *bytes, size_t size)
{
    const QByteArray text = QByteArray::fromRawData(bytes, static_cast<int>(size));
    const auto firstEnd = text.indexOf("\n\n");
    struct stat status = {};
    if (firstEnd < 0 || firstEnd + 2 >= text.size() || ::fstat(descriptor, &status) != 0)
        return false;
    ++runsWritten;
    runsAcrossPages += status.st_size / kPageBytes == (status.st_size + qint64(size) - 1) / kPageBytes ? 0 : 1;
    return true;
}
#endif

} // namespace

#ifndef __SANITIZE_THREAD__
// In the place of the C library's, and like that one a point where a thread can be cancelled. The address sanitizer
// would miss that such a thread has left this function, and take its stack for in use.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" __attribute__((no_sanitize_address)) Q_DECL_EXPORT ssize_t write(int descriptor, const void *bytes,
                                                                            size_t size)
{
    using Write = ssize_t (*)(int, const void *, size_t);
    static const auto realWrite = reinterpret_cast<Write>(::dlsym(RTLD_NEXT, "write"));
    const bool isFile = descriptor > STDERR_FILENO && ::lseek(descriptor, 0, SEEK_CUR) >= 0;
    const auto *const from = static_cast<const char *>(bytes);
    const size_t half = size / 2 + 1; // Within a line, also of several that are equally long.
    const bool isRunForAFile = isFile && isRun(descriptor, from, size);
    if (!isFile || disk.load() == Disk::Sound)
        return realWrite(descriptor, bytes, size);
    if (disk.load() == Disk::RefusesRuns) {
        errno = ENOSPC;
        if (isRestRefused.exchange(false))
            return -1;
        isRestRefused.store(isRunForAFile);
        return realWrite(descriptor, bytes, isRunForAFile ? half : size);
    }
    const size_t early = disk.load() == Disk::StalledAtTheEnd ? size : disk.load() == Disk::StalledHalfway ? half : 0;
    if (early > 0 && realWrite(descriptor, bytes, early) < 0)
        return -1;
    do
        ::usleep(1000);
    while (disk.load() >= Disk::Stalled);
    if (early < size && realWrite(descriptor, from + early, size - early) < 0)
        return -1;
    return static_cast<ssize_t>(size);
}
#else
// The sanitizer doesn't know this function, by which std::timed_mutex waits, but the one on the other clock.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" Q_DECL_EXPORT int pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock,
                                                     const timespec *limit) noexcept
{
    timespec now = {};
    timespec time = {};
    ::clock_gettime(clock, &now);
    ::clock_gettime(CLOCK_REALTIME, &time);
    time.tv_sec += limit->tv_sec - now.tv_sec; // To the second.
    return ::pthread_mutex_timedlock(mutex, &time);
}
#endif

bool noteExpectation(bool isMet, const char *file, int line, const QByteArray &failure)
{
    if (!isMet) {
        result.store(1);
        std::fprintf(stderr, "%s:%d: %s%s%s\n", file, line, situation.constData(), situation.isEmpty() ? "" : ": ",
                     failure.constData());
    }
    return isMet;
}

qint64 runHost(const ExpectedExit &expected, const std::function<void()> &host)
{
    QElapsedTimer timer;
    timer.start();
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
        std::exit(result.load() == 0 ? kHostSucceeded : 1);
    }
    if (expected.killedAfterUs > 0) {
        ::usleep(expected.killedAfterUs);
        ::kill(process, SIGKILL);
    }
    int end = 0;
    if (!EXPECT(process > 0 && ::waitpid(process, &end, 0) == process))
        return timer.elapsed();
    const qint64 elapsed = timer.elapsed();
    const int status = WIFEXITED(end) ? WEXITSTATUS(end) : -WTERMSIG(end);
    QFile file;
    file.open(output, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    file.seek(0);
    const QByteArray errors = file.readAll().right(12000);
    // What the host expected in vain stands in its errors.
    if (!EXPECT_EQUAL(status, expected.status))
        std::fprintf(stderr, "The host wrote:\n%s", errors.constData());
    else if (expected.errors != nullptr)
        EXPECT_EQUAL(errors, expected.errors);
    return elapsed;
}

QtDebugLogger *startLogging()
{
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    return logger;
}

void raiseAll(int from, int to)
{
    for (int number = from; number < to; ++number)
        raise(0, number);
}

Tally expectWholeLines(int count)
{
    Tally tally;
    QStringList broken; // Records that are none, or out of order, or the second of two that are the same.
    const QByteArray bytes = writtenLogs();
    for (decltype(bytes.size()) begin = 0, end = 0; begin < bytes.size(); begin = end + 2) {
        end = bytes.indexOf("\n\n", begin);
        const bool isWhole = end >= 0;
        end = isWhole ? end : bytes.size();
        // Without regular expressions: Qt's globals for them must not be there before the next host.
        const QByteArray record = bytes.mid(begin, end - begin);
        const QList<QByteArray> words = record.split(' '); // Date, time, label, file, line, and the text.
        bool isNumber = false;
        words.value(4).replace(':', "").toInt(&isNumber);
        if (!isWhole || !record.startsWith('[') || record.mid(20, 3) != "] <" || !isNumber) {
            broken.append(QString::fromUtf8(record));
            continue;
        }
        const QByteArray text = words.mid(5).join(' ');
        tally.last = QString::fromUtf8(words[2] + ' ' + text);
        tally.time = QDateTime::fromString(QString::fromUtf8(record.mid(1, 19)), "yyyy-MM-dd hh:mm:ss"_q);
        const int number = text.mid(3, text.indexOf('.') - 3).toInt(&isNumber);
        if (!isNumber || !text.startsWith('t') || !text.endsWith('|')) {
            tally.others.append(tally.last);
            continue;
        }
        const auto source = static_cast<std::size_t>(text.at(1) - '0');
        if (number < tally.next.at(source))
            broken.append(tally.last);
        tally.gaps += number > tally.next.at(source) ? 1 : 0;
        tally.next.at(source) = number + 1;
        ++tally.lines.at(source);
    }
    EXPECT_EQUAL(broken, QStringList());
    if (count >= 0) {
        EXPECT_EQUAL(tally.lines[0], count);
        EXPECT_EQUAL(tally.gaps, 0);
        EXPECT_EQUAL(tally.others, QStringList());
    }
    return tally;
}

bool addScenario(const char *name, int shortAmount, Scenario scenario)
{
    scenarios().insert(QLatin1String(name), {shortAmount, scenario});
    return true;
}

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
