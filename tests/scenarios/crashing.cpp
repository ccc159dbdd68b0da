// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <csignal>

#include <unistd.h>

namespace {

SCENARIO(raisesAFatalMessage, 20)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const int timeoutMs = attempt % 5 == 0 ? 0 : 2000;
        situation = "timeout " + QByteArray::number(timeoutMs);
        runHost({-SIGABRT, nullptr}, [timeoutMs] {
            const Host host;
            host.logger->setFatalFlushTimeout(timeoutMs);
            raiseAll(0, 2000);
            qFatal("the end");
        });
        const Tally tally = expectWholeLines();
        if (timeoutMs == 0)
            continue;
        EXPECT_EQUAL(tally.lines[0], 2000);
        EXPECT_EQUAL(tally.last, "<Fatal:> the end"_q);
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
        const unsigned patience = lines > 0 ? 1 : static_cast<unsigned>(attempt) + 1; // An emulator starts slowly.
        runHost({-SIGKILL, "", 20000 + std::random_device()() % (150000 * patience)}, [] {
            const Host host;
            const LoggingThreads threads(4, 0);
            ::pause();
        });
        cutLinesAtPageEnds();
        const Tally tally = expectWholeLines();
        EXPECT_EQUAL(tally.gaps, 0);
        EXPECT_EQUAL(tally.others, QStringList());
        lines += tally.lines[0];
    }
    EXPECT_LESS(0, lines);
}

} // namespace
