// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "contenders.h"

#include <Brindlecast/QtDebugLogger.h>

#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QMutex>

#include <glog/logging.h>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kFilePath[] = BRINDLECAST_LOG_DIRECTORY "peer.log";
// What the loops of bare writes write: a record of the length of all the others.
constexpr char kRecord[]
    = "[2026-11-22 18:00:05] <Debug:> contenders.cpp 50: the pressure of the second circuit is steady "
      "with the pump on, valve closed; reading 1000000\n\n";

int descriptor = -1;
QFile file;
QMutex fileMutex;
std::shared_ptr<spdlog::logger> peerLogger;

void doNothing() { }

void raiseNothing(int thread, int line)
{
    Q_UNUSED(thread)
    Q_UNUSED(line)
}

void raiseMessage(int thread, int line)
{
    Q_UNUSED(thread)
    qDebug() << "the pressure of the second circuit is steady with the pump on, valve closed; reading"
             << 1000000 + line;
}

void ignore(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    Q_UNUSED(type)
    Q_UNUSED(context)
    Q_UNUSED(msg)
}

void beginEmptyHandler()
{
    qInstallMessageHandler(ignore);
}

void beginBrindlecast()
{
    QtDebugLogger::getInstance()->setLogCategoryEnabled(true, 1);
    QtDebugLogger::getInstance()->enableOutputFile();
}

void beginBrindlecastKept()
{
    if (!QtDebugLogger::getInstance()->keepWaitingLines(QStringLiteral("/dev/shm/brindlecast-bench")))
        std::abort();
    beginBrindlecast();
}

void beginBrindlecastSynced()
{
    QtDebugLogger::getInstance()->setSyncInterval(1000);
    beginBrindlecast();
}

void beginDisabledCategory()
{
    QtDebugLogger::getInstance()->enableOutputFile();
}

void endBrindlecast()
{
    QtDebugLogger::getInstance()->flush(-1);
}

const char *baseName(const char *path)
{
    const char *const slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

void writeByHand(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    Q_UNUSED(type)
    const QString line = QStringLiteral("[%1] <Debug:> %2 %3: %4\n\n")
                             .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                                  QLatin1String(baseName(context.file)), QString::number(context.line), msg);
    const QMutexLocker lock(&fileMutex);
    file.write(line.toUtf8());
    file.flush();
}

void beginHandWritten()
{
    file.setFileName(QLatin1String(kFilePath));
    file.open(QIODevice::WriteOnly | QIODevice::Append);
    qInstallMessageHandler(writeByHand);
}

void beginQtDefault()
{
    qputenv("QT_LOGGING_TO_CONSOLE", "1");
    if (std::freopen(kFilePath, "a", stderr) == nullptr)
        std::abort();
    qSetMessagePattern(QStringLiteral("[%{time yyyy-MM-dd hh:mm:ss}] <%{type}:> %{file} %{line}: %{message}\n"));
}

void handToSpdlog(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    Q_UNUSED(type)
    const QByteArray text = msg.toUtf8();
    peerLogger->log(spdlog::source_loc(context.file, context.line, context.function), spdlog::level::debug,
                    spdlog::string_view_t(text.constData(), static_cast<size_t>(text.size())));
}

void beginSpdlogSyncBuffered()
{
    if (!peerLogger)
        peerLogger = spdlog::basic_logger_mt("bench", kFilePath);
    peerLogger->set_level(spdlog::level::trace);
    peerLogger->set_pattern("[%Y-%m-%d %H:%M:%S] <Debug:> %s %#: %v\n");
    qInstallMessageHandler(handToSpdlog);
}

void beginSpdlogSync()
{
    beginSpdlogSyncBuffered();
    peerLogger->flush_on(spdlog::level::trace);
}

void beginSpdlog()
{
    spdlog::init_thread_pool(8192, 1);
    peerLogger = spdlog::basic_logger_mt<spdlog::async_factory>("bench", kFilePath);
    beginSpdlogSync();
}

void endSpdlog()
{
    peerLogger.reset();
    spdlog::shutdown();
}

void handToGlog(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    Q_UNUSED(type)
    google::LogMessage(context.file, context.line, google::GLOG_INFO).stream() << msg.toUtf8().constData() << '\n';
}

void writeGlogPrefix(std::ostream &stream, const google::LogMessageInfo &info, void *)
{
    const google::LogMessageTime &time = info.time;
    stream << '[' << std::setfill('0') << 1900 + time.year() << '-' << std::setw(2) << 1 + time.month() << '-'
           << std::setw(2) << time.day() << ' ' << std::setw(2) << time.hour() << ':' << std::setw(2) << time.min()
           << ':' << std::setw(2) << time.sec() << "] <Debug:> " << info.filename << ' ' << info.line_number << ':';
}

void beginGlogBuffered()
{
    FLAGS_logtostderr = false;
    FLAGS_stderrthreshold = google::GLOG_FATAL;
    FLAGS_log_dir = BRINDLECAST_LOG_DIRECTORY;
    FLAGS_max_log_size = 4000;
    google::InitGoogleLogging("bench", writeGlogPrefix);
    google::SetLogSymlink(google::GLOG_INFO, "");
    qInstallMessageHandler(handToGlog);
}

void beginGlog()
{
    FLAGS_logbuflevel = -1;
    beginGlogBuffered();
}

void beginWrite()
{
    descriptor = ::open(kFilePath, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
}

void raiseWrite(int thread, int line)
{
    Q_UNUSED(thread)
    Q_UNUSED(line)
    if (::write(descriptor, kRecord, sizeof kRecord - 1) < 0)
        std::abort();
}

void raiseStatAndWrite(int thread, int line)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0)
        std::abort();
    raiseWrite(thread, line);
}

constexpr Contender kContenders[] = {
    {"timer", doNothing, raiseNothing, doNothing},
    {"empty-handler", beginEmptyHandler, raiseMessage, doNothing},
    {"disabled-category", beginDisabledCategory, raiseMessage, doNothing},
    {"brindlecast", beginBrindlecast, raiseMessage, endBrindlecast},
    {"brindlecast-kept", beginBrindlecastKept, raiseMessage, endBrindlecast},
    {"brindlecast-synced", beginBrindlecastSynced, raiseMessage, endBrindlecast},
    {"spdlog", beginSpdlog, raiseMessage, endSpdlog},
    {"spdlog-sync", beginSpdlogSync, raiseMessage, endSpdlog},
    {"spdlog-sync-buffered", beginSpdlogSyncBuffered, raiseMessage, endSpdlog},
    {"glog", beginGlog, raiseMessage, doNothing},
    {"glog-buffered", beginGlogBuffered, raiseMessage, doNothing},
    {"hand-written", beginHandWritten, raiseMessage, doNothing},
    {"qt-default", beginQtDefault, raiseMessage, doNothing},
    {"write", beginWrite, raiseWrite, doNothing},
    {"fstat+write", beginWrite, raiseStatAndWrite, doNothing},
};

} // namespace

const Contender *findContender(const char *name)
{
    for (const Contender &contender : kContenders) {
        if (std::strcmp(contender.name, name) == 0)
            return &contender;
    }
    return nullptr;
}
