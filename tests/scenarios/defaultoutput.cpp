// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/HostProcess.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

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
        EXPECT_EQUAL(expectWholeLines().last, exits ? "<Warning:> late: before"_q : "<Debug:> t0 0.|"_q);
    }
}

SCENARIO(logsBeforeAndBetweenApplications, 500)
{
    runHost({kHostSucceeded, "before\nbetween\nhost: late: to the host\n"}, [amount] {
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

SCENARIO(printsWhatThePatternLeaves, 1)
{
    runHost({kHostSucceeded, "seen\nafter a host's slot\n"}, [] {
        qSetMessagePattern("%{if-warning}%{message}%{endif}"_q);
        {
            const Host host;
            QObject::connect(host.logger, &QtDebugLogger::handleIOSignal, [] {});
        }
        startLogging(); // In vain, without an application.
        qDebug("left out");
        qWarning("seen");
        qWarning("after a host's slot");
    });
}

SCENARIO(leavesTheNamesOfFilesToTheHost, 1)
{
    runHost({}, [] {
        qputenv("LC_ALL", "C.UTF-8");
        startLogging();
        raise(0, 0);
        EXPECT(QtDebugLogger::getInstance()->flush(60000));
        const Host host; // Sets the locale, by which Qt encodes names from then on.
        EXPECT(makeFile(logDirectory() + "\u00e4"_q));
        EXPECT_EQUAL(::access((logDirectory() + "\u00e4"_q).toUtf8().constData(), F_OK), 0);
    });
}

} // namespace
