// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "QtDebugLogger.h"

#include "LogCategory_p.h"
#include "MessageSite_p.h"
#include "writer/Cancellation_p.h"
#include "writer/KeptFile_p.h"
#include "writer/LogLine_p.h"
#include "writer/LogQueue_p.h"
#include "writer/LogWriterThread_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QMetaMethod>
#include <QScopeGuard>
#include <QScopedValueRollback>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace {

constexpr unsigned long kCategories[] = {1, 2, 4, 8, 16, 32, 64};

// The end of the application object or the process takes no longer, whatever the disk does. kEndingTimeoutMs of it is
// reserved for ending the thread.
constexpr int kLeavingTimeoutMs = 3000;
constexpr int kEndingTimeoutMs = 500;

// Published line numbers, unrelated to this file's lines.
constexpr MessageSite kDebug{__FILE__, 134, "void QtDebugLogger::debug(const QString&)"};
constexpr MessageSite kInformation{__FILE__, 147, "void QtDebugLogger::information(const QString&)"};
constexpr MessageSite kWarning{__FILE__, 160, "void QtDebugLogger::warning(const QString&)"};
constexpr MessageSite kCritical{__FILE__, 173, "void QtDebugLogger::critical(const QString&)"};
constexpr MessageSite kLost{__FILE__, 199, "bool QtDebugLogger::keepWaitingLines(const QString&, int)"};
constexpr MessageSite kDropped{__FILE__, 186, "void QtDebugLogger::tellWhatWasDropped(unsigned long)"};

// Trivially destructible, so that messages may be raised at any time of a thread's life.
thread_local bool isInFormerHandler = false;
// Qt raises a message when the system refuses a thread. No slot of a host must run for it: the control lock is held.
thread_local bool isStartingThread = false;

LogQueue &queue()
{
    return LogQueue::instance();
}

// Not by stdio: a thread that waits for a reader of a full pipe holds its lock.
void writeToStandardError(const QByteArray &text)
{
    const ssize_t written = ::write(STDERR_FILENO, text.constData(), static_cast<size_t>(text.size()));
    Q_UNUSED(written)
}

void writeToDefaultOutput(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    const Cancellation::DisabledScope noCancel; // It runs inside the destructor of QDebug, which must not be unwound.
    const QString text = qFormatLogMessage(type, context, msg);
    if (!text.isNull()) // Like Qt: a pattern may leave messages out.
        writeToStandardError(text.toLocal8Bit() + '\n');
}

void reportUnwrittenLines()
{
    const quint64 unwritten = queue().unwrittenLines();
    pollfd standardError = {STDERR_FILENO, POLLOUT, 0};
    // A pipe that is full and that nobody reads must not keep the process from ending.
    if (unwritten > 0 && ::poll(&standardError, 1, 0) == 1)
        writeToStandardError("Brindlecast: " + QByteArray::number(unwritten) + " log lines were not written\n");
}

} // namespace

QtDebugLogger::QtDebugLogger(QObject *parent)
    : QObject(parent)
    , m_writerWorker(new LogWriterWorker(nullptr))
{
    m_logWriterThread = QSharedPointer<LogWriterThread>::create(queue(), *m_writerWorker);
    for (const unsigned long category : kCategories)
        m_logEnableMap.insert(category, false);
    m_logWriterThread->setObjectName(QStringLiteral("logWriterThread"));
    m_writerWorker->moveToThread(m_logWriterThread.data());
    qRegisterMetaType<FileIOObjectPointer>("FileIOObjectPointer");
    // Direct connections: the queue does the rest. On the writer thread itself, the worker is called at once.
    LogWriterWorker *const worker = m_writerWorker.data();
    const auto pushRequest = [worker](const FileIOObjectPointer &request) {
        if (LogWriterThread::isCurrent())
            worker->onHandleIO(request);
        else if (!request.isNull())
            request->m_isRefused = !queue().pushRequest(request);
    };
    const auto pushClear = [worker] {
        if (LogWriterThread::isCurrent())
            worker->onClearData();
        else
            queue().pushClear();
    };
    connect(this, &QtDebugLogger::handleIOSignal, worker, pushRequest, Qt::DirectConnection);
    connect(this, &QtDebugLogger::clearSignal, worker, pushClear, Qt::DirectConnection);

    // Made before the logger, so that Qt destroys it after the logger: the writer still needs it while the process
    // exits.
    QLoggingCategory::defaultCategory();

    queue().open();
    qAddPreRoutine(joinApplication);
    // A forked child has no writer thread and may find any lock taken.
    pthread_atfork(nullptr, nullptr, [] {
        queue().retireInChild();
        restoreDefaultHandler();
    });
}

QtDebugLogger::~QtDebugLogger()
{
    const std::lock_guard<std::mutex> lock(m_enabling); // Somebody may be changing the map.
}

QtDebugLogger *QtDebugLogger::getInstance()
{
    // Destroyed by leaveProcess(), and only when no other thread uses it.
    static QtDebugLogger *const logger = [] {
        auto *const made = new QtDebugLogger(nullptr);
        const bool isLeftAtExit = std::atexit(leaveProcess) == 0;
        Q_UNUSED(isLeftAtExit)
        return made;
    }();
    return logger;
}

void QtDebugLogger::clearData()
{
    if (queue().phase() == LogQueue::Phase::Gone)
        return;
    {
        const std::lock_guard<std::mutex> lock(m_enabling);
        if (queue().phase() == LogQueue::Phase::Gone)
            return; // The logger has been destroyed meanwhile.
        m_logEnableMap.clear();
        m_enabledCategories.store(0);
    }
    sendClear();
}

void QtDebugLogger::startThread()
{
    if (queue().phase() == LogQueue::Phase::Gone || LogWriterThread::isCurrent())
        return;
    const Cancellation::DisabledScope
        noCancel; // Cancelled in here, it would leave a state in which nobody can start or stop.
    const auto control = takeControl(QDeadlineTimer(QDeadlineTimer::Forever));
    if (!m_bRunning && !m_isLeaving.load() && queue().phase() != LogQueue::Phase::Gone)
        beginThread();
}

void QtDebugLogger::stopThread()
{
    if (queue().phase() == LogQueue::Phase::Gone || LogWriterThread::isCurrent())
        return;
    const Cancellation::DisabledScope noCancel;
    const auto control = takeControl(QDeadlineTimer(QDeadlineTimer::Forever));
    if (m_bRunning && !m_isLeaving.load()) // leave() ends it, once everything is written.
        m_bRunning = !writerThread()->end(QDeadlineTimer(QDeadlineTimer::Forever));
}

void QtDebugLogger::enableOutputFile()
{
    if (queue().phase() == LogQueue::Phase::Gone)
        return;
    const QtMessageHandler former = qInstallMessageHandler(outputMessage);
    if (former != outputMessage)
        m_formerHandler.store(former);
    startThread();
}

void QtDebugLogger::disableOutputFile()
{
    qInstallMessageHandler(nullptr);
    sendClear();
}

void QtDebugLogger::debug(const QString &log)
{
    const Cancellation::DisabledScope noCancel;
    kDebug.debug() << kDebug.file << "debug" << kDebug.line << log;
}

void QtDebugLogger::information(const QString &log)
{
    const Cancellation::DisabledScope noCancel;
    kInformation.info() << kInformation.file << "information" << kInformation.line << log;
}

void QtDebugLogger::warning(const QString &log)
{
    const Cancellation::DisabledScope noCancel;
    kWarning.warning() << kWarning.file << "warning" << kWarning.line << log;
}

void QtDebugLogger::critical(const QString &log)
{
    const Cancellation::DisabledScope noCancel;
    kCritical.critical() << kCritical.file << "critical" << kCritical.line << log;
}

void QtDebugLogger::setLogCategoryEnabled(bool isEnabled, unsigned long categories)
{
    if (queue().phase() == LogQueue::Phase::Gone)
        return;
    const std::lock_guard<std::mutex> lock(m_enabling);
    if (queue().phase() == LogQueue::Phase::Gone)
        return; // The logger has been destroyed meanwhile.
    for (const unsigned long category : kCategories) {
        if (categories & category)
            m_logEnableMap.insert(category, isEnabled);
    }
    if (isEnabled)
        m_enabledCategories.fetch_or(categories & LogCategory::kAll);
    else
        m_enabledCategories.fetch_and(~categories);
}

bool QtDebugLogger::flush(int timeoutMs)
{
    if (queue().phase() == LogQueue::Phase::Gone)
        return false;
    // QDeadlineTimer takes -1 for "no limit", and any other negative value for "expired".
    return queue().flush(QDeadlineTimer(LogWriterThread::isCurrent() ? 0 : qMax(timeoutMs, -1)));
}

void QtDebugLogger::setFatalFlushTimeout(int timeoutMs)
{
    m_fatalFlushTimeoutMs.store(timeoutMs);
}

void QtDebugLogger::setForwarding(bool isForwarding)
{
    m_isForwarding.store(isForwarding);
}

bool QtDebugLogger::keepWaitingLines(const QString &path, int bytes)
{
    if (queue().phase() == LogQueue::Phase::Gone || LogWriterThread::isCurrent())
        return false;
    const Cancellation::DisabledScope noCancel;
    const auto control = takeControl(QDeadlineTimer(QDeadlineTimer::Forever));
    if (queue().isInUse())
        return false;
    std::unique_ptr<KeptFile> file = KeptFile::open(QFile::encodeName(path), bytes);
    if (file == nullptr)
        return false;
    const quint32 lost = file->linesOutside();
    const QMessageLogContext context(kLost.file, kLost.line, kLost.function, "default");
    const QString text
        = QStringLiteral("at least %1 lines were lost: the process ended before they were written").arg(lost);
    const LogLine notice(QtWarningMsg, context, text);
    if (!queue().keep(std::move(file), notice.textToWrite(), lost))
        return false;
    m_writerWorker->setKeeper(&queue());
    return true;
}

void QtDebugLogger::setSyncInterval(int ms)
{
    if (!queue().beginEmission()) // Like a slot, it keeps the logger from being destroyed meanwhile.
        return;
    m_writerWorker->setSyncInterval(ms);
    queue().endEmission();
}

// Nothing in here may raise a message: Qt would send it to standard error only.
void QtDebugLogger::outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    if (isInFormerHandler)
        return; // The former handler has called this one.
    const LogQueue::Phase phase = queue().phase();
    const bool isOnWriterThread = phase != LogQueue::Phase::Gone && LogWriterThread::isCurrent();
    if ((phase != LogQueue::Phase::Open && !isOnWriterThread) || isStartingThread) {
        writeToDefaultOutput(type, context, msg);
        return;
    }

    QtDebugLogger *const logger = getInstance();
    if (logger->isCategoryEnabled(LogCategory::kMessage)) {
        const LogLine line(type, context, msg);
        const bool isUrgent = type == QtCriticalMsg || type == QtFatalMsg;
        if (isOnWriterThread) {
            const Cancellation::DisabledScope noCancel;
            LogWriterThread::callHost(
                [&] { logger->emitRequest(line.textToWrite(), LogCategory::kMessage, isUrgent); });
        } else if (logger->post(line.textToWrite(), LogCategory::kMessage, isUrgent) == LineOutcome::Refused) {
            writeToDefaultOutput(type, context, msg);
            return;
        }
    }
    const int fatalFlushTimeoutMs = logger->m_fatalFlushTimeoutMs.load(std::memory_order_relaxed);
    if (type == QtFatalMsg && fatalFlushTimeoutMs > 0)
        logger->flush(fatalFlushTimeoutMs);
    if (logger->m_isForwarding.load(std::memory_order_relaxed))
        logger->forward(type, context, msg);
}

void QtDebugLogger::appendLog(const QString &message, unsigned long category)
{
    if (!isCategoryEnabled(category) || queue().phase() == LogQueue::Phase::Gone)
        return;
    const QString textToWrite = message + QLatin1Char('\n');
    if (LogWriterThread::isCurrent())
        emitRequest(textToWrite, category, false);
    else
        post(textToWrite, category, false);
}

void QtDebugLogger::connectNotify(const QMetaMethod &signal)
{
    const bool isOurOwn = queue().phase() == LogQueue::Phase::Gone; // Made by the constructor.
    if (!isOurOwn && signal == QMetaMethod::fromSignal(&QtDebugLogger::handleIOSignal))
        queue().setObserved();
}

// A host that cuts the logger's own connection loses all lines, as it asked to: they are emitted and reach nobody.
void QtDebugLogger::disconnectNotify(const QMetaMethod &signal)
{
    const bool isGone = queue().phase() == LogQueue::Phase::Gone;
    if (!isGone && (!signal.isValid() || signal == QMetaMethod::fromSignal(&QtDebugLogger::handleIOSignal)))
        queue().setObserved();
}

void QtDebugLogger::forward(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    const QtMessageHandler former = m_formerHandler.load();
    if (former == nullptr)
        return;
    const Cancellation::DisabledScope noCancel;
    const QScopedValueRollback<bool> inFormerHandler(isInFormerHandler, true);
    const auto call = [&] { former(type, context, msg); };
    if (LogWriterThread::isCurrent())
        LogWriterThread::callHost(call);
    else
        call();
}

LogWriterThread *QtDebugLogger::writerThread() const
{
    return static_cast<LogWriterThread *>(m_logWriterThread.data());
}

bool QtDebugLogger::isCategoryEnabled(unsigned long category) const
{
    const bool isOneCategory = category != 0 && (category & (category - 1)) == 0;
    return isOneCategory && (m_enabledCategories.load(std::memory_order_relaxed) & category) != 0;
}

// Returns Pushed, Dropped or Refused.
LineOutcome QtDebugLogger::post(QStringView textToWrite, unsigned long category, bool isUrgent)
{
    for (;;) {
        const LineOutcome outcome = queue().push(textToWrite, category, *this, isUrgent);
        if (outcome == LineOutcome::ToBeEmitted) {
            const auto end = qScopeGuard([] { queue().endEmission(); });
            return emitRequest(textToWrite, category, isUrgent);
        }
        if (outcome != LineOutcome::NoticeDue)
            return outcome;
        if (!reportDroppedLines(category) && queue().phase() == LogQueue::Phase::Open) {
            queue().addDropped(1);
            return LineOutcome::Dropped;
        }
    }
}

// The longer way of a line: a host can see it. Needs a begun emission, except on the writer thread.
LineOutcome QtDebugLogger::emitRequest(QStringView textToWrite, unsigned long category, bool isUrgent)
{
    const FileIOObjectPointer request(new FileIOObject(nullptr));
    request->category = category;
    request->contentList.append(textToWrite.chopped(1).toString());
    request->m_isUrgent = isUrgent;
    Q_EMIT handleIOSignal(request);
    return request->m_isRefused ? LineOutcome::Refused : LineOutcome::Pushed;
}

// False when there is no room for the notice, so that it is still due.
bool QtDebugLogger::reportDroppedLines(unsigned long category)
{
    const quint64 dropped = queue().takeDropped();
    if (dropped == 0)
        return true; // Another thread reports them.
    const QMessageLogContext context(kDropped.file, kDropped.line, kDropped.function, "default");
    const QString text = QStringLiteral("%1 lines were dropped: too many were waiting to be written").arg(dropped);
    const LogLine notice(QtWarningMsg, context, text);
    const LineOutcome outcome = post(notice.textToWrite(), category, false);
    if (outcome == LineOutcome::Pushed)
        return true;
    queue().addDropped(outcome == LineOutcome::Dropped ? dropped - 1 : dropped); // The notice has been counted too.
    return false;
}

void QtDebugLogger::sendClear()
{
    if (!queue().beginEmission())
        return;
    const auto end = qScopeGuard([] { queue().endEmission(); });
    Q_EMIT clearSignal();
}

// Takes the lock under which the writer thread is started and stopped; not owned when `limit` came first.
std::unique_lock<std::timed_mutex> QtDebugLogger::takeControl(QDeadlineTimer limit)
{
    std::unique_lock<std::timed_mutex> control(m_control, std::defer_lock);
    if (limit.isForever())
        control.lock();
    else
        control.try_lock_for(std::chrono::milliseconds(limit.remainingTime()));
    return control;
}

// Needs the control lock.
void QtDebugLogger::beginThread()
{
    const QScopedValueRollback<bool> startingThread(isStartingThread, true);
    m_bRunning = true;
    m_bRunning = writerThread()->begin();
}

// The application object, or the process, ends: writes what was raised so far; later messages go to Qt's default
// output. True when the process ends and the logger can be destroyed.
bool QtDebugLogger::leave(bool isProcessExiting)
{
    const Cancellation::DisabledScope noCancel;
    if (queue().phase() == LogQueue::Phase::Open)
        m_leavingBudgetMs = kLeavingTimeoutMs; // The process's end shares it, if that follows.
    const QDeadlineTimer limit(m_leavingBudgetMs);
    const QDeadlineTimer writingLimit = limit - kEndingTimeoutMs;

    m_isLeaving.store(true);
    {
        // The host may have stopped it.
        const auto control = takeControl(writingLimit);
        if (control.owns_lock() && !m_bRunning && (queue().hasWaiting() || m_writerWorker->hasUnwritten()))
            beginThread();
    }
    queue().flush(writingLimit); // Before close(), so that the space guard's messages go to the files, too.
    queue().close(isProcessExiting);
    if (isProcessExiting)
        clearData(); // After close(): lines of a disabled category would not even reach Qt's default output.
    queue().flush(writingLimit);
    restoreDefaultHandler();

    const auto control = takeControl(limit);
    if (control.owns_lock() && m_bRunning)
        m_bRunning = !writerThread()->end(limit);
    m_leavingBudgetMs = static_cast<int>(limit.remainingTime());
    // Under the lock, so that the thread can't be started any more.
    const bool isUnused = isProcessExiting && queue().retire();
    m_isLeaving.store(isProcessExiting);
    return control.owns_lock() && !m_bRunning && isUnused;
}

// A slot on the writer thread has called exit(). That thread can't wait for itself, so another one takes its place.
void QtDebugLogger::leaveOnWriterThread()
{
    m_isLeaving.store(true);
    blockSignals(true); // The slot must not come here again.
    queue().close(true);
    if (m_writerWorker->handOver(queue())) {
        auto *const successor = new LogWriterThread(queue(), *m_writerWorker); // Never deleted: the process ends first.
        successor->begin();
        queue().flush(QDeadlineTimer(kLeavingTimeoutMs));
    }
    restoreDefaultHandler();
    queue().retire();
}

// Leaves a handler alone that the host has installed.
void QtDebugLogger::restoreDefaultHandler()
{
    const QtMessageHandler installed = qInstallMessageHandler(nullptr);
    if (installed != outputMessage)
        qInstallMessageHandler(installed);
}

void QtDebugLogger::joinApplication()
{
    if (queue().phase() == LogQueue::Phase::Gone)
        return;
    queue().open();
    queue().wakeUp(); // Events that were posted before can be sent now.
    qAddPostRoutine(leaveApplication);
}

void QtDebugLogger::leaveApplication()
{
    if (queue().phase() == LogQueue::Phase::Gone)
        return;
    getInstance()->leave(false);
}

void QtDebugLogger::leaveProcess()
{
    if (queue().phase() == LogQueue::Phase::Gone)
        return;
    QtDebugLogger *const logger = getInstance();
    bool canBeDestroyed = false;
    if (LogWriterThread::isCurrent())
        logger->leaveOnWriterThread();
    else
        canBeDestroyed = logger->leave(true);
    reportUnwrittenLines();
    if (canBeDestroyed)
        logger->~QtDebugLogger();
}
