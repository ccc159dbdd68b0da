// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// A console host: raises every line of text files as Qt messages from four threads and checks that each of them stands
// in the log files.
//
// usage: logging-host [--seconds N] [text-file...]   (default: the logs of the package manager and the installation)
//   --seconds N   spreads the lines over N seconds
// A "\n" written in a line becomes a line break of its message.

#include "LogTally.h"

#include <Brindlecast/QtDebugLogger.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QStorageInfo>
#include <QTextStream>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

constexpr int kThreads = 4;
constexpr int kFlushTimeoutMs = 30000;
constexpr auto kProgressInterval = std::chrono::milliseconds(100);
constexpr auto kPause = std::chrono::microseconds(2000);
constexpr int kLinesBetweenPauses = 50;

constexpr char kLogDirectory[] = BRINDLECAST_LOG_DIRECTORY;

std::atomic<int> linesRaised{0};
std::atomic<int> threadsAtWork{0};
QtMessageHandler loggersHandler = nullptr;

QStringList defaultFiles()
{
    return {QStringLiteral("/var/log/dpkg.log"),         QStringLiteral("/var/log/apt/history.log"),
            QStringLiteral("/var/log/apt/term.log"),     QStringLiteral("/var/log/bootstrap.log"),
            QStringLiteral("/var/log/alternatives.log"), QStringLiteral("/var/lib/dpkg/status")};
}

QStringList readLines(const QStringList &paths)
{
    QStringList lines;
    for (const QString &path : paths) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            lines += QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    }
    return lines.replaceInStrings(QStringLiteral("\\n"), QStringLiteral("\n"));
}

QtMessageHandler installedHandler()
{
    const QtMessageHandler handler = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(handler);
    return handler;
}

// qFatal() would end the process, so a fatal line goes straight to the handler.
void raiseFatal(const QString &text)
{
    loggersHandler(QtFatalMsg, QMessageLogContext(__FILE__, __LINE__, Q_FUNC_INFO, "default"), text);
}

void raise(int type, const QString &text)
{
    switch (type) {
    case 0:
        qDebug().noquote() << text;
        break;
    case 1:
        qInfo().noquote() << text;
        break;
    case 2:
        qWarning().noquote() << text;
        break;
    case 3:
        qCritical().noquote() << text;
        break;
    default:
        raiseFatal(text);
        break;
    }
    ++linesRaised;
}

void raiseShare(const QStringList &lines, int share, std::chrono::microseconds pause)
{
    auto next = std::chrono::steady_clock::now();
    for (int i = share; i < lines.size(); i += kThreads) {
        raise(i % 5, lines.at(i));
        if (i / kThreads % kLinesBetweenPauses == 0)
            std::this_thread::sleep_until(next += pause);
    }
    --threadsAtWork;
}

QString currentFile(const LogTally &tally)
{
    const QFileInfoList files = tally.files();
    return files.isEmpty() ? QStringLiteral("no file yet") : files.constLast().fileName();
}

QString freeSpace()
{
    const qint64 bytes = QStorageInfo(QLatin1String(kLogDirectory)).bytesAvailable();
    return bytes < 0 ? QStringLiteral("unknown") : QStringLiteral("%1 MB").arg(bytes / 1000000);
}

int summarize(const LogTally &tally, bool isFlushed)
{
    QTextStream out(stdout);
    const QFileInfoList files = tally.files();
    out << "log directory   " << kLogDirectory << '\n';
    for (const QFileInfo &file : files)
        out << "file            " << file.fileName() << "  " << file.size() << " bytes\n";
    out << "lines raised    " << linesRaised << '\n'
        << "lines in files  " << tally.lines() << '\n'
        << "free space      " << freeSpace() << '\n'
        << "the last lines:\n";
    const QStringList lastLines = tally.lastLines();
    for (const QString &line : lastLines)
        out << "  " << line << '\n';

    const bool isComplete = isFlushed && tally.lines() == linesRaised;
    out << (isComplete ? "All lines are in the files.\n" : "LINES ARE MISSING.\n");
    return isComplete ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QCommandLineOption seconds(QStringLiteral("seconds"), QString(), QStringLiteral("N"));
    QCommandLineParser parser;
    parser.addOption(seconds);
    parser.process(application);
    const QStringList files = parser.positionalArguments();
    const QStringList lines = readLines(files.isEmpty() ? defaultFiles() : files);
    if (lines.isEmpty()) {
        QTextStream(stderr) << "logging-host: none of the text files can be read\n";
        return 2;
    }

    LogTally tally(QLatin1String(kLogDirectory), QStringLiteral("main.cpp"));
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    loggersHandler = installedHandler();
    raise(0, QStringLiteral("logging host starts with %1 lines").arg(lines.size()));

    auto pause = kPause;
    if (parser.isSet(seconds)) {
        const std::chrono::microseconds duration = std::chrono::seconds(parser.value(seconds).toInt());
        pause = duration * kThreads * kLinesBetweenPauses / lines.size();
    }
    threadsAtWork = kThreads;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int share = 0; share < kThreads; ++share)
        threads.emplace_back(raiseShare, std::cref(lines), share, pause);

    const bool isTerminal = ::isatty(STDOUT_FILENO) != 0;
    QTimer progress;
    QObject::connect(&progress, &QTimer::timeout, &application, [&] {
        tally.update();
        if (isTerminal) {
            QTextStream(stdout) << "\rraised " << linesRaised << ", in files " << tally.lines() << ", writing "
                                << currentFile(tally) << "   ";
        }
        if (threadsAtWork == 0)
            QCoreApplication::quit();
    });
    progress.start(kProgressInterval);
    QCoreApplication::exec();
    for (std::thread &thread : threads)
        thread.join();

    raise(1, QStringLiteral("logging host ends"));
    const bool isFlushed = logger->flush(kFlushTimeoutMs);
    tally.update();
    if (isTerminal)
        QTextStream(stdout) << '\n';
    return summarize(tally, isFlushed);
}
