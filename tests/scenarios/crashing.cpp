// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <csignal>

#include <unistd.h>

namespace {

SCENARIO(raisesAFatalMessage, 20)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        runHost({-SIGABRT, nullptr}, [] {
            const Host host;
            host.logger->setFatalFlushTimeout(2000);
            raiseAll(0, 2000);
            qFatal("the end");
        });
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.lines[0], 2000);
        EXPECT_EQUAL(tally.others, QStringList("<Fatal:> the end"_q));
    }
}

// The kernel looks for a kill between two pages of a write, so a line that lies in both can be torn there, about once
// in 150 kills flat out; nowhere else.
void cutLinesAtPageEnds()
{
    const QStringList names = logNames();
    for (const QString &name : names) {
        const QByteArray bytes = fileContents(logDirectory() + name);
        if (!bytes.isEmpty() && bytes.size() % 4096 == 0 && !bytes.endsWith("\n\n"))
            QFile::resize(logDirectory() + name, bytes.lastIndexOf("\n\n") + 2);
    }
}

SCENARIO(isKilledUnderLoad, 15)
{
    int lines = 0;
    for (int attempt = 0; attempt < amount; ++attempt) {
        runHost({-SIGKILL}, [] {
            const Host host;
            const LoggingThreads threads(4, 0);
            ::usleep(std::random_device()() % 150000);
            ::kill(::getpid(), SIGKILL);
        });
        cutLinesAtPageEnds();
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.next, tally.lines);
        EXPECT_EQUAL(tally.others, QStringList());
        lines += tally.lines[0];
    }
    EXPECT_LESS(0, lines);
}

} // namespace
