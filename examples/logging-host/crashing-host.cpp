// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// A host that is killed in the middle of logging, and the next one.
//
// usage: crashing-host FILE [LINES]   FILE lies in memory, below /dev/shm or /run
// With LINES it raises so many and is killed; without, it takes up what the one before has left.

#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    if (!logger->keepWaitingLines(arguments.value(1))) {
        std::fprintf(stderr, "can't keep lines in %s\n", qPrintable(arguments.value(1)));
        return 1;
    }
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    if (arguments.size() < 3)
        return logger->flush(30000) ? 0 : 1;
    for (int line = 0; line < arguments.at(2).toInt(); ++line)
        qDebug("line %d of a host that is going to be killed", line);
    ::raise(SIGKILL);
}
