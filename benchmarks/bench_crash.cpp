// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// What does a crash take with it? Logs one line, is idle for a moment, raises further lines and ends by a signal at
// once. scripts/bench --crash counts what has reached the files.
//
// usage: bench_crash CONTENDER LINES SIGNAL   (SIGNAL 0: ends when all is written)

#include "contenders.h"

#include <QCoreApplication>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include <sys/resource.h>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const Contender *const contender = arguments.size() == 4 ? findContender(argv[1]) : nullptr;
    if (contender == nullptr) {
        std::fprintf(stderr, "usage: bench_crash CONTENDER LINES SIGNAL\n");
        return 2;
    }
    const int lines = arguments.at(2).toInt();
    const int signal = arguments.at(3).toInt();
    const rlimit noCore = {0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);

    contender->begin();
    if (signal == 0) {
        contender->end();
        return 0;
    }
    contender->raise(0, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (int line = 1; line <= lines; ++line)
        contender->raise(0, line);
    ::raise(signal);
}
