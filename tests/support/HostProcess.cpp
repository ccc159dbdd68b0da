// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Usage: tst_scenarios NAME [AMOUNT]
// AMOUNT is how many lines, tries, cycles or seconds, for more than the few that the test suite has time for.

#include "HostProcess.h"

#include <QElapsedTimer>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

QByteArray situation;

namespace {

constexpr qint64 kPageBytes = 4096;

std::atomic<int> result{0};

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
    const auto *const from = static_cast<const char *>(bytes);
    struct stat status = {};
    if (descriptor <= STDERR_FILENO || ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return realWrite(descriptor, bytes, size);
    const bool isRun = std::string_view(from, size).find("\n\n") < size - 2;
    const qint64 lastByte = status.st_size + static_cast<qint64>(size) - 1;
    runsAcrossPages += isRun && status.st_size / kPageBytes != lastByte / kPageBytes ? 1 : 0;
    if (disk.load() == Disk::Sound)
        return realWrite(descriptor, bytes, size);
    const size_t half = size / 2 + 1; // Within a line, also of several that are equally long.
    const size_t early = disk.load() == Disk::StalledAtTheEnd ? size : disk.load() == Disk::StalledHalfway ? half : 0;
    const ssize_t written = realWrite(descriptor, bytes, early);
    do
        ::usleep(1000);
    while (disk.load() >= Disk::Stalled);
    return written + realWrite(descriptor, from + early, size - early);
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
    EXPECT(removeLogDirectory());
    std::FILE *const output = std::tmpfile();
    const pid_t process = ::fork();
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
    int end = 0;
    EXPECT_EQUAL(::waitpid(process, &end, 0), process);
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

Tally expectWholeLines(int count)
{
    Tally tally;
    QList<QByteArray> broken; // Records that are none, or out of order, or the second of two that are the same.
    // Without regular expressions: Qt's globals for them must not be there before the next host.
    QList<QByteArray> records = writtenLogs().replace("\n\n", "\v").split('\v');
    EXPECT_EQUAL(records.takeLast(), QByteArray());
    for (const QByteArray &record : qAsConst(records)) {
        const QList<QByteArray> words = record.split(' '); // Date, time, label, file, line, and the text.
        const QByteArray text = words.mid(5).join(' ');
        bool isNumber = false;
        words.value(4).replace(':', "").toInt(&isNumber);
        const bool isWhole = record.startsWith('[') && record.mid(20, 3) == "] <" && isNumber;
        const int number = text.mid(3, text.indexOf('.') - 3).toInt(&isNumber);
        if (!isWhole) {
            broken.append(record);
        } else if (!isNumber || !text.startsWith('t') || !text.endsWith('|')) {
            tally.others.append(QString::fromUtf8(words[2] + ' ' + text));
        } else {
            const auto source = static_cast<std::size_t>(text.at(1) - '0');
            if (number < tally.next.at(source))
                broken.append(record);
            tally.next.at(source) = number + 1;
            ++tally.lines.at(source);
        }
    }
    EXPECT_EQUAL(broken, QList<QByteArray>());
    if (count >= 0) {
        EXPECT_EQUAL(tally.lines[0], count);
        EXPECT_EQUAL(tally.next[0], count);
        EXPECT_EQUAL(tally.others, QStringList());
    }
    return tally;
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
