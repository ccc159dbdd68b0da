// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <cstdio>
#include <cstdlib>

namespace {

struct LateMessage
{
    ~LateMessage() { qWarning("late: %s", text); }
    Q_DISABLE_COPY(LateMessage)
    const char *const text;
};

SCENARIO(logsFromStaticDestructors, 4)
{
    for (int attempt = 0; attempt < amount; ++attempt) {
        const bool exits = attempt % 2 != 0; // Then application and logger live on for a while.
        situation = exits ? "exit" : "main returns";
        runHost({kHostSucceeded, exits ? "late: after\n" : "late: before\nlate: after\n"}, [exits] {
            static const LateMessage afterTheLogger{"after"};
            const Host host;
            static const LateMessage beforeTheLogger{"before"};
            raise(0, 0);
            if (exits)
                std::exit(kHostSucceeded);
        });
        const QStringList late = exits ? QStringList("<Warning:> late: before"_q) : QStringList();
        EXPECT_EQUAL(expectWholeLines().others, late);
    }
}

SCENARIO(logsBeforeAndBetweenApplications, 500)
{
    runHost({kHostSucceeded, "before\nbetween\nhost: late: to the host\n"}, [amount] {
        static const LateMessage toTheHost{"to the host"};
        qSetMessagePattern("%{if-warning}%{message}%{endif}"_q);
        qWarning("before");
        startLogging();
        raiseAll(0, amount);
        EXPECT(QtDebugLogger::getInstance()->flush(60000));
        {
            const Host host;
            raiseAll(amount, 2 * amount);
        }
        startLogging(); // In vain, without an application.
        qDebug("left out by the pattern");
        qWarning("between");
        const Host host;
        raiseAll(2 * amount, 3 * amount);
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
            std::fprintf(stderr, "host: %s\n", text.toLocal8Bit().constData());
        });
    });
    expectWholeLines(3 * amount);
}

} // namespace
