// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// What a product calls, and when; docs/in-your-product.md explains it. Run with the log directory, the folder of a
// stick and a file in memory: logs a line, brings it to storage and exports the logs.

#include <Brindlecast/ExportJob.h>
#include <Brindlecast/ExportLogViewModel.h>
#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QFile>

#include <fcntl.h>
#include <unistd.h>

namespace {

void startLogging(const QString &keptLines)
{
    QtDebugLogger *logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->setFatalFlushTimeout(2000);
    logger->setSyncInterval(1000);
    if (!logger->keepWaitingLines(keptLines))
        qWarning() << "lines will not outlive a crash: can't use" << keptLines;
    logger->enableOutputFile();
}

// Whether all that was written to the file system of a folder has reached its storage.
bool syncFileSystem(const QString &folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSynced = descriptor >= 0 && ::syncfs(descriptor) == 0;
    ::close(descriptor);
    return isSynced;
}

bool bringLogsToStorage(const QString &logDirectory)
{
    return QtDebugLogger::getInstance()->flush(2000) && syncFileSystem(logDirectory);
}

bool exportLogs(const QString &logDirectory, const QString &stick)
{
    ExportLogViewModel logs(nullptr);
    logs.setCurrentFolder(logDirectory);
    logs.setAllSelected();
    QStringList paths;
    logs.getSelectedLogs(paths);

    ExportJob job;
    QEventLoop untilItHasEnded; // A host with a screen runs its own loop and shows what the job reports.
    QObject::connect(&job, &ExportJob::stateChanged, &untilItHasEnded, [&job, &untilItHasEnded] {
        if (!job.isActive())
            untilItHasEnded.quit();
    });
    if (job.start(paths, stick))
        untilItHasEnded.exec();
    return job.outcome() == ExportJob::Outcome::Copied && job.safeToRemove();
}

void beginNewLogFiles()
{
    QtDebugLogger *logger = QtDebugLogger::getInstance();
    logger->disableOutputFile();
    logger->enableOutputFile();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    startLogging(application.arguments().value(3));

    const QString logDirectory = application.arguments().value(1);
    const QString stick = application.arguments().value(2);
    qInfo() << "up and running";
    const bool isStored = bringLogsToStorage(logDirectory);
    const bool isExported = exportLogs(logDirectory, stick);
    beginNewLogFiles();
    return isStored && isExported ? 0 : 1;
}
