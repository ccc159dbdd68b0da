// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "QtDebugLogger.h"

#include "ForcedEnd_p.h"
#include "LogLine_p.h"
#include "LogWriterThread_p.h"
#include "MessageSite_p.h"
#include "PostingGate_p.h"
#include "RequestPool_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <cstdio>
#include <new>

#include <pthread.h>

namespace {

constexpr unsigned long kMessageCategory = 1;
constexpr unsigned long kCategories[] = {1, 2, 4, 8, 16, 32, 64};
constexpr unsigned long kAllCategories = 127;

constexpr qint64 kMostWaitingRequests = 262144;
// What the queue has to fall to once it was full. Without a margin every other line of a flood would be a notice.
constexpr qint64 kRefillBelow = kMostWaitingRequests - kMostWaitingRequests / 16;

constexpr int kLeavingTimeoutMs = 3000;
constexpr unsigned long kFlushPollUs = 200;

constexpr MessageSite kDebug{__FILE__, 134, "void QtDebugLogger::debug(const QString&)"};
constexpr MessageSite kInformation{__FILE__, 147, "void QtDebugLogger::information(const QString&)"};
constexpr MessageSite kWarning{__FILE__, 160, "void QtDebugLogger::warning(const QString&)"};
constexpr MessageSite kCritical{__FILE__, 173, "void QtDebugLogger::critical(const QString&)"};
constexpr MessageSite kDropped{__FILE__, 186, "void QtDebugLogger::tellWhatWasDropped(unsigned long)"};

// These outlive the logger: a message may be raised while, and after, it is destroyed.
PostingGate postingGate;
// Not yet, or no longer: the process leaves, or it is a forked child, which has no writer thread and may find any lock
// taken. Operations that other threads call meanwhile do nothing.
std::atomic<bool> isAlive{false};
// The application object goes; until there is another one, lines are not ours.
std::atomic<bool> isLeaving{false};
static_assert(std::is_trivially_destructible<PostingGate>::value, "must be usable after static destructors");

void writeToDefaultOutput(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    const QByteArray text = qFormatLogMessage(type, context, msg).toLocal8Bit();
    std::fprintf(stderr, "%s\n", text.constData());
    std::fflush(stderr);
}

} // namespace

QtDebugLogger::QtDebugLogger(QObject *parent)
    : QObject(parent)
    , m_logWriterThread(new LogWriterThread)
    , m_writerWorker(new LogWriterWorker(nullptr))
{
    for (const unsigned long category : kCategories)
        m_logEnableMap.insert(category, false);
    m_logWriterThread->setObjectName(QStringLiteral("logWriterThread"));
    m_writerWorker->moveToThread(m_logWriterThread.data());
    writerThread()->setWorker(m_writerWorker.data());
    qRegisterMetaType<FileIOObjectPointer>("FileIOObjectPointer");
    connect(this, &QtDebugLogger::handleIOSignal, m_writerWorker.data(), &LogWriterWorker::onHandleIO);
    connect(this, &QtDebugLogger::clearSignal, m_writerWorker.data(), &LogWriterWorker::onClearData);

    // Qt sets its calendar up at the first date that a process formats, without a lock.
    LogLine::prepare();

    isAlive.store(true);
    qAddPreRoutine(joinApplication);
    pthread_atfork(nullptr, nullptr, [] { isAlive.store(false); });
}

QtDebugLogger::~QtDebugLogger()
{
    if (!isAlive.load()) {
        // A forked child: the thread object would wait for a thread that is not there.
        static const auto *const keptThread = new (std::nothrow) QSharedPointer<QThread>(m_logWriterThread);
        static const auto *const keptWorker = new (std::nothrow) LogWriterWorkerPointer(m_writerWorker);
        Q_UNUSED(keptThread)
        Q_UNUSED(keptWorker)
        return;
    }
    // exit() destroys the logger while the application object still lives, and other threads run.
    drain();
    clearData();
    isAlive.store(false);
    drain(); // Other threads may have switched it on again, and can't any more.
    endThread();
    const std::lock_guard<std::mutex> untilTheMapIsFree(m_enabling);
    const qint64 unwritten = waitingRequests() + static_cast<qint64>(m_droppedLines.load());
    if (unwritten > 0)
        std::fprintf(stderr, "Brindlecast: %lld log lines were not written\n", static_cast<long long>(unwritten));
}

QtDebugLogger *QtDebugLogger::getInstance()
{
    static QtDebugLogger logger(nullptr);
    return &logger;
}

void QtDebugLogger::clearData()
{
    {
        const std::lock_guard<std::mutex> lock(m_enabling);
        if (!isAlive.load())
            return;
        m_logEnableMap.clear();
        m_enabledCategories.store(0);
    }
    sendClear();
}

void QtDebugLogger::startThread()
{
    if (!isAlive.load() || LogWriterThread::isCurrent())
        return;
    const PostingGate::StepOutside slotOfOurSignals(postingGate);
    const std::lock_guard<std::mutex> lock(m_control);
    if (m_bRunning || !isAlive.load())
        return;
    m_bRunning = true;
    m_bRunning = writerThread()->begin(postingGate);
}

void QtDebugLogger::stopThread()
{
    if (isAlive.load() && !LogWriterThread::isCurrent())
        endThread();
}

void QtDebugLogger::enableOutputFile()
{
    if (!isAlive.load())
        return;
    qInstallMessageHandler(outputMessage);
    startThread();
}

void QtDebugLogger::disableOutputFile()
{
    qInstallMessageHandler(nullptr);
    sendClear();
}

void QtDebugLogger::debug(const QString &log)
{
    kDebug.debug() << kDebug.file << "debug" << kDebug.line << log;
}

void QtDebugLogger::information(const QString &log)
{
    kInformation.info() << kInformation.file << "information" << kInformation.line << log;
}

void QtDebugLogger::warning(const QString &log)
{
    kWarning.warning() << kWarning.file << "warning" << kWarning.line << log;
}

void QtDebugLogger::critical(const QString &log)
{
    kCritical.critical() << kCritical.file << "critical" << kCritical.line << log;
}

void QtDebugLogger::setLogCategoryEnabled(bool isEnabled, unsigned long categories)
{
    const std::lock_guard<std::mutex> lock(m_enabling);
    if (!isAlive.load())
        return;
    for (const unsigned long category : kCategories) {
        if (categories & category)
            m_logEnableMap.insert(category, isEnabled);
    }
    if (isEnabled)
        m_enabledCategories.fetch_or(categories & kAllCategories);
    else
        m_enabledCategories.fetch_and(~categories);
}

bool QtDebugLogger::flush(int timeoutMs)
{
    const quint64 raised = m_postedRequests.load();
    const QDeadlineTimer limit(qMax(timeoutMs, -1)); // Any other negative value would count as expired.
    for (;;) {
        {
            const PostingGate::Pass pass(postingGate); // Keeps thread and worker from being destroyed meanwhile.
            if (!isAlive.load() || !writerThread()->isServing() || QCoreApplication::instance() == nullptr)
                return false;
            if (m_writerWorker->handledRequests() >= raised)
                return m_writerWorker->isLastRequestWritten();
        }
        if (limit.hasExpired() || LogWriterThread::isCurrent())
            return false;
        QThread::usleep(kFlushPollUs);
    }
}

void QtDebugLogger::setFatalFlushTimeout(int timeoutMs)
{
    m_fatalFlushTimeoutMs.store(timeoutMs);
}

// Nothing in here may raise a message: Qt would send it to standard error only.
void QtDebugLogger::outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    if (!isAlive.load()) {
        writeToDefaultOutput(type, context, msg);
        return;
    }
    if (LogWriterThread::isCurrent()) {
        // The thread that ends while the gate is closed would wait for itself. It lives no longer than the logger.
        const ForcedEnd::Forbidden insideDestructorOfQDebug;
        getInstance()->appendLog(LogLine::make(type, context, msg), kMessageCategory);
        return;
    }

    const PostingGate::Pass pass(postingGate);
    if (isLeaving.load() || !isAlive.load()) {
        writeToDefaultOutput(type, context, msg);
        return;
    }
    QtDebugLogger *const logger = getInstance();
    logger->appendLog(LogLine::make(type, context, msg), kMessageCategory);
    const int fatalFlushTimeoutMs = logger->m_fatalFlushTimeoutMs.load();
    if (type == QtFatalMsg && fatalFlushTimeoutMs > 0)
        logger->flush(fatalFlushTimeoutMs);
}

void QtDebugLogger::appendLog(const QString &message, unsigned long category)
{
    if (!isCategoryEnabled(category))
        return;
    if (!hasRoomForOneMore()) {
        m_droppedLines.fetch_add(1);
        return;
    }
    if (m_droppedLines.load() > 0)
        tellWhatWasDropped(category);
    post(message, category);
}

LogWriterThread *QtDebugLogger::writerThread() const
{
    return static_cast<LogWriterThread *>(m_logWriterThread.data());
}

bool QtDebugLogger::isCategoryEnabled(unsigned long category) const
{
    const bool isOneCategory = category != 0 && (category & (category - 1)) == 0;
    return isOneCategory && (m_enabledCategories.load() & category) != 0;
}

qint64 QtDebugLogger::waitingRequests() const
{
    // In this order: what is posted and handled between the two must not count below zero.
    const quint64 handled = m_writerWorker->handledRequests();
    return static_cast<qint64>(m_postedRequests.load() - handled);
}

bool QtDebugLogger::hasRoomForOneMore()
{
    const bool wasFull = m_isQueueFull.load(std::memory_order_relaxed);
    const bool isFull = waitingRequests() >= (wasFull ? kRefillBelow : kMostWaitingRequests);
    if (isFull != wasFull)
        m_isQueueFull.store(isFull, std::memory_order_relaxed);
    return !isFull;
}

void QtDebugLogger::tellWhatWasDropped(unsigned long category)
{
    const quint64 dropped = m_droppedLines.exchange(0);
    if (dropped == 0)
        return; // Another thread tells it.
    const QMessageLogContext context(kDropped.file, kDropped.line, kDropped.function, "default");
    const QString text = QStringLiteral("%1 lines were dropped: too many were waiting to be written").arg(dropped);
    post(LogLine::make(QtWarningMsg, context, text), category);
}

void QtDebugLogger::post(const QString &line, unsigned long category)
{
    const FileIOObjectPointer request = RequestPool::take(line, category);
    request->m_isQueued = !LogWriterThread::isCurrent();
    if (request->m_isQueued)
        m_postedRequests.fetch_add(1);
    Q_EMIT handleIOSignal(request);
}

void QtDebugLogger::sendClear()
{
    const PostingGate::Pass pass(postingGate);
    if (isAlive.load())
        Q_EMIT clearSignal();
}

void QtDebugLogger::endThread()
{
    const PostingGate::StepOutside slotOfOurSignals(postingGate);
    const std::lock_guard<std::mutex> lock(m_control);
    if (!m_bRunning)
        return;
    m_bRunning = false;
    writerThread()->end(postingGate);
}

// The application object, or the process, goes: what was raised so far is written, what comes later is not ours.
void QtDebugLogger::drain()
{
    const PostingGate::StepOutside slotOfOurSignals(postingGate);
    const QDeadlineTimer limit(kLeavingTimeoutMs);
    if (waitingRequests() > 0 && QCoreApplication::instance() != nullptr)
        startThread(); // One that the host has stopped.
    flush(kLeavingTimeoutMs); // With our handler, so that what the space guard says goes to the files, too.

    const QtMessageHandler installed = qInstallMessageHandler(nullptr);
    if (installed != outputMessage)
        qInstallMessageHandler(installed);
    isLeaving.store(true);
    postingGate.close(); // Whoever is in the handler has queued its line once the gate is closed.
    postingGate.open();
    flush(static_cast<int>(limit.remainingTime()));
}

void QtDebugLogger::joinApplication()
{
    if (!isAlive.load())
        return;
    isLeaving.store(false);
    qAddPostRoutine(leaveApplication);
}

void QtDebugLogger::leaveApplication()
{
    if (!isAlive.load())
        return;
    getInstance()->drain();
    getInstance()->endThread();
}
