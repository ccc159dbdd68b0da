// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

namespace {

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
        EXPECT_EQUAL(expectWholeLines(1).lines, (LoggingThreads::Counts{1, 1, 1, 1, 1, 1, 1, 1}));
    }
}

} // namespace
