// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// What does a message cost: the thread that raises it, the processor, the memory, and how fast does it reach the file?
// One contender and one way of raising a process, since a message handler can't be taken out of a process again;
// scripts/bench runs them by turns.

#include "contenders.h"

#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBurst = 100;
constexpr std::chrono::milliseconds kBurstInterval(10);
constexpr int kSteadyBatch = 100;

// The way lines are raised:
//   paced       bursts of 100 per 10 ms, every call timed
//   flat        as fast as the threads can, every call timed
//   throughput  as fast as the threads can, only the whole timed
//   steady      in batches of 100, each written before the next, only the whole timed
//   singly      each line written before the next, only the whole timed
//   memory      with the writer thread stopped
enum class Way { Paced, Flat, Throughput, Steady, Singly, Memory };
constexpr const char *kWays[] = {"paced", "flat", "throughput", "steady", "singly", "memory"};

struct Raised
{
    std::vector<float> callsUs;
    double cpuUs = 0;
};

double cpuUs(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

double usSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// The value of a line of /proc/self/status, in KiB.
qint64 memoryKib(const char *name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name))
            return line.simplified().split(' ').at(1).toLongLong();
    }
    return 0;
}

void raiseTimed(const Contender &contender, Way way, int thread, int lines, std::vector<float> &callsUs)
{
    auto nextBurst = Clock::now();
    for (int line = 0; line < lines; ++line) {
        if (way == Way::Paced && line % kBurst == 0)
            std::this_thread::sleep_until(nextBurst += kBurstInterval);
        const auto start = Clock::now();
        contender.raise(thread, line);
        callsUs.push_back(static_cast<float>(usSince(start)));
    }
}

void raiseUntimed(const Contender &contender, Way way, int thread, int lines)
{
    for (int line = 0; line < lines; ++line) {
        contender.raise(thread, line);
        if (way == Way::Singly || (way == Way::Steady && (line + 1) % kSteadyBatch == 0))
            contender.end();
    }
}

void raiseLines(const Contender &contender, Way way, int thread, int lines, Raised &raised)
{
    const double before = cpuUs(CLOCK_THREAD_CPUTIME_ID);
    if (way == Way::Paced || way == Way::Flat) {
        raised.callsUs.reserve(static_cast<size_t>(lines));
        raiseTimed(contender, way, thread, lines, raised.callsUs);
    } else {
        raiseUntimed(contender, way, thread, lines);
    }
    raised.cpuUs = cpuUs(CLOCK_THREAD_CPUTIME_ID) - before;
}

double percentile(const std::vector<float> &sorted, double part)
{
    if (sorted.empty())
        return 0;
    return static_cast<double>(sorted[std::min(sorted.size() - 1, static_cast<size_t>(part * double(sorted.size())))]);
}

void run(const Contender &contender, Way way, int threads, int linesPerThread)
{
    std::vector<Raised> raised(static_cast<size_t>(threads));
    contender.begin();
    contender.raise(0, 0); // A process's first message sets things up.
    if (way == Way::Memory)
        QtDebugLogger::getInstance()->stopThread();

    const qint64 residentBefore = memoryKib("VmRSS:");
    const double cpuBefore = cpuUs(CLOCK_PROCESS_CPUTIME_ID);
    const auto start = Clock::now();
    std::vector<std::thread> others;
    for (int thread = 1; thread < threads; ++thread) {
        others.emplace_back(
            [&, thread] { raiseLines(contender, way, thread, linesPerThread, raised[static_cast<size_t>(thread)]); });
    }
    raiseLines(contender, way, 0, linesPerThread, raised[0]);
    for (std::thread &other : others)
        other.join();
    const qint64 residentAfter = memoryKib("VmRSS:");
    if (way == Way::Memory)
        QtDebugLogger::getInstance()->startThread();
    contender.end();
    const double wallUs = usSince(start);
    const double allCpuUs = cpuUs(CLOCK_PROCESS_CPUTIME_ID) - cpuBefore;

    std::vector<float> calls;
    double callersCpuUs = 0;
    for (const Raised &one : raised) {
        calls.insert(calls.end(), one.callsUs.begin(), one.callsUs.end());
        callersCpuUs += one.cpuUs;
    }
    std::sort(calls.begin(), calls.end());
    const double lines = double(threads) * linesPerThread;
    // p50,p99,p99.9,max us; lines/s; us of processor time a line: callers, others; bytes a line; peak
    std::printf("%.3f,%.3f,%.3f,%.3f,%.0f,%.3f,%.3f,%.0f,%lld\n", percentile(calls, 0.5), percentile(calls, 0.99),
                percentile(calls, 0.999), percentile(calls, 1), lines / wallUs * 1e6, callersCpuUs / lines,
                (allCpuUs - callersCpuUs) / lines, double(residentAfter - residentBefore) * 1024 / lines,
                static_cast<long long>(memoryKib("VmHWM:")));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const Contender *const contender = argc == 5 ? findContender(argv[1]) : nullptr;
    for (size_t way = 0; contender != nullptr && way < std::size(kWays); ++way) {
        if (std::strcmp(argv[2], kWays[way]) != 0)
            continue;
        run(*contender, static_cast<Way>(way), std::atoi(argv[3]), std::atoi(argv[4]));
        return 0;
    }
    std::fprintf(
        stderr, "usage: bench_message CONTENDER paced|flat|throughput|steady|singly|memory THREADS LINES_PER_THREAD\n");
    return 2;
}
