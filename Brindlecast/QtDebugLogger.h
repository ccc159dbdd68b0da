// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/FileIOObject.h>
#include <Brindlecast/LogWriterWorker.h>
#include <Brindlecast/brindlecast_export.h>

#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QStringView>
#include <QThread>

#include <atomic>
#include <mutex>

class LogWriterThread;
class QDeadlineTimer;
enum class LineOutcome;
class QMetaMethod;

/**
 * The process-wide file logger: once its output is on, every Qt message of every thread becomes one line in a log file.
 *
 * @code
 * QtDebugLogger *logger = QtDebugLogger::getInstance();
 * logger->setLogCategoryEnabled(true, 1);
 * logger->enableOutputFile();
 * @endcode
 *
 * A line reads `[2026-11-16 18:00:05] <Warning:> main.cpp 42: disk low`: local time, type, base name of the source
 * file, line number and trimmed text. The types are "Debug:", "Warning:", "Critical:", "Fatal:" and, for information
 * and anything else, "Other:". In the file an empty line follows each.
 *
 * Each line has a category: one of 1, 2, 4, 8, 16, 32 and 64. Each category has a log file of its own, but two files
 * that begin in the same second are one. Qt messages have category 1. All categories are disabled at first; a message
 * of a disabled category is dropped silently. A host raises lines of other categories itself:
 *
 * @code
 * const auto request = FileIOObjectPointer(new FileIOObject(nullptr));
 * request->category = 2;
 * request->contentList.append(QStringLiteral("calibrated"));
 * Q_EMIT logger->handleIOSignal(request); // Written even if category 2 is disabled.
 * @endcode
 *
 * The thread that raises a message formats the line and queues it; it never waits for the disk. A writer thread,
 * "logWriterThread", does all the file work (LogWriterWorker). While it does not run, lines wait. At most 262,144 lines
 * wait (some 80 MB of lines of 145 characters). Further ones are dropped until a sixteenth of the queue is free; then
 * one line reports how many were. Lines dropped right before the process exits are reported on standard error only.
 *
 * When the application object is destroyed, and when the process calls exit(), everything raised before is written, for
 * three seconds at most, whatever the disk does. From then on messages go to Qt's default output. A host that makes
 * another application object calls enableOutputFile() again. No application object is needed: output may be switched
 * on before there is one, and in a process that makes none. A child process made by fork() has no logger.
 *
 * @note Hosts must be compiled with QT_MESSAGELOGCONTEXT to have file and line in release builds. The CMake target and
 * the pkg-config file pass it on.
 *
 * After its destruction, and in the child of a fork(), the logger does nothing: messages go to Qt's default output. It
 * is destroyed when the process exits, unless exit() is called on the writer thread, a slot connected to the logger's
 * signals is running, or the writer thread can't be ended in time. A host must not emit its signals after that. Threads
 * that log while the process exits should be joined before: Qt's default output crashes once Qt's own globals are gone,
 * with or without this library.
 *
 * Times are local; a change of the time zone shows from the next second on.
 *
 * Thread safety: thread-safe. A message raised while the handler runs on the same thread, by a slot that is connected
 * directly to handleIOSignal() for example, goes to standard error. A thread may be cancelled inside any operation.
 */
class BRINDLECAST_EXPORT QtDebugLogger : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(QtDebugLogger)

public:
    /** The one logger. The first call constructs it, the process owns it, and its address never changes. */
    static QtDebugLogger *getInstance();

    /** Runs at process exit: writes out what was raised before, for at most three seconds, and ends the thread. */
    ~QtDebugLogger() override;

    /**
     * Disables every category and has all log files closed; removes nothing.
     *
     * Once a category is enabled again, its next line begins a new file, or continues the former one if that was begun
     * in the same second. A clear has its place among the lines: those raised before it go to the former file, even if
     * the writer thread is stopped meanwhile.
     */
    void clearData();

    /** Starts the writer thread unless it runs; takes about 3 ms. On the writer thread itself it does nothing. */
    void startThread();

    /**
     * Ends the writer thread if it runs, and waits until it has ended. Lines that wait then are kept, in order, until
     * the thread is started again.
     *
     * The current write is finished first and, with setSyncInterval(), a last sync. If that takes more than two
     * seconds, the thread is cancelled, in the middle of a write if need be. The next start compares the file with what
     * was being written; if a part is missing, it cuts the rest off and writes all of it again. So lines are neither
     * torn nor lost. But a pipe, or another file that can't be read back, may get a line twice.
     *
     * After the cancelling there is no limit: this call waits for a device that hangs, and for code of the host that
     * runs on that thread. Such code is a slot connected directly to handleIOSignal(), which a message of the space
     * guard calls; a posted event; and the handler of setForwarding(). It must not wait for the thread that calls this.
     *
     * On the writer thread itself it does nothing.
     */
    void stopThread();

    /**
     * Makes the logger the process's message handler, instead of any other, and starts the writer thread.
     *
     * The other one then gets no messages, and the console shows none, unless setForwarding() is on.
     */
    void enableOutputFile();

    /** Restores Qt's default message handler and has all log files closed. The writer thread keeps running. */
    void disableOutputFile();

    /** Raises a debug message that holds `log` in double quotes. */
    void debug(const QString &log);

    /** Raises an information message that holds `log` in double quotes. */
    void information(const QString &log);

    /** Raises a warning that holds `log` in double quotes. */
    void warning(const QString &log);

    /** Raises a critical message that holds `log` in double quotes. */
    void critical(const QString &log);

    /**
     * Enables or disables every category whose bit is set in the mask `categories`; 127 means all of them.
     *
     * Bits above 64 are ignored, and a mask of 0 changes nothing.
     */
    void setLogCategoryEnabled(bool isEnabled, unsigned long categories);

    /**
     * Waits until every line raised before the call, and not dropped, has been handed to the operating system, and
     * every file is closed that an earlier disableOutputFile() or clearData() closes.
     *
     * To be called before a host exports its logs or cuts the power; then sync() or syncfs() brings them to storage.
     *
     * @param timeoutMs the longest time to wait, in milliseconds; a negative value means no limit.
     * @return true when that is done; false at the time limit, at once when the writer thread does not run or is
     * stopped meanwhile, and when the newest line could not be written (disk full, no directory). On the writer thread,
     * which can't wait for itself, the call returns at once.
     */
    bool flush(int timeoutMs);

    /**
     * Sets how long, in milliseconds, the handler of a fatal message waits for its line to be written before Qt aborts
     * the process; 0, the default, means not at all.
     */
    void setFatalFlushTimeout(int timeoutMs);

    /**
     * Sets whether each message is also handed to the handler that enableOutputFile() found installed: Qt's own by
     * default, which writes to the console or the journal. Off by default.
     *
     * That handler is called on the thread that raised the message, after the line was queued and a fatal one flushed
     * (setFatalFlushTimeout()), also for disabled categories. It must exist until the process ends. If it calls this
     * logger's handler in turn, it still gets each message once.
     *
     * @note The price: a thread that raises a message waits for that handler, and so for the console. For messages of
     * the space guard, that is the writer thread.
     */
    void setForwarding(bool isForwarding);

    /**
     * Keeps the lines that wait for the writer thread in a file in memory, where they outlive the process, however it
     * ends: killed, crashed, aborted, replaced by exec(). When the next process calls this with the same path, its
     * writer thread appends them to the log files that they were meant for, or to a new one where that is gone: each
     * once, in their order, before anything newer.
     *
     * To be called before enableOutputFile(), at every start, with the same path. It can't be switched off again. It
     * costs the thread that raises a message some ten instructions, and no system call. In a flood it makes a message
     * slower by up to a fifth.
     *
     * @param path a file of this host alone, on a file system in memory (tmpfs: usually below /run or /dev/shm). It is
     * made if it is missing, and stays when the process ends. Nobody may shorten it while the host runs: the system
     * would end the host with SIGBUS.
     * @param bytes the room for waiting lines, rounded up to chunks of 32 KiB, at least two; a larger file keeps its
     * size. A waiting line takes 16 bytes and two for each character. Lines that find no room, and those of more than
     * 16,000 characters, are not kept; after a crash one line says that "at least" so many were lost, because a damaged
     * file may hide some.
     *
     * Lines that a full disk refused for good, and lines without a log file, stay in the file, if they are there, and
     * take room until the next process. Lines raised on the writer thread itself (by a slot, by the space guard) are
     * not kept.
     *
     * @return false, with nothing kept or changed, when output has been switched on before, or lines wait already; when
     * another process uses the file; when it is not a regular file in memory that is this user's alone (mode 0600, one
     * link, not a symbolic link); when it holds something that this operation did not make; when there is no room for
     * it; and when the log file that the process before was writing to can't be read now.
     */
    bool keepWaitingLines(const QString &path, int bytes = 512 * 1024);

    /**
     * Sets how long, in milliseconds, a written line may stay with the operating system before the writer thread brings
     * it to storage (fdatasync()); 0, the default, leaves that to the system, which may take half a minute or more.
     *
     * With an interval, a power cut loses the lines of that time, and a disk that hangs holds up only the writer thread
     * and whoever stops it. Critical and fatal lines, and what came before them, are brought to storage at once, but
     * not more often than every 100 ms. A file is also brought to storage when it is closed, and all files are when the
     * writer thread is stopped. The name of a new file is brought to storage with its first lines. All of this is slow
     * while other programs write much to the same disk; see docs/in-your-product.md for intervals that suit a medium.
     *
     * A negative value counts as 0. What was written before the call keeps the interval set then. A sync that the
     * medium refuses is neither reported nor tried again, because Linux may have given up what it was to bring there.
     */
    void setSyncInterval(int ms);

Q_SIGNALS:
    /**
     * A line is on its way to the writer thread. Emitted on the thread that raised it, inside the message handler. For
     * messages of the space guard that is the writer thread, where posted events are delivered, but no timer fires.
     *
     * A host may emit it too, with a request of its own, whose lines are written in their turn. After that the request
     * must not be changed. The limit on waiting lines does not apply to the host's own requests.
     *
     * @note Connecting to this signal has a price: from then on, each line is made into a request.
     */
    void handleIOSignal(FileIOObjectPointer pobj);

    /** The log files are to be closed. Emitted by clearData() and disableOutputFile(), and when the process exits. */
    void clearSignal();

protected:
    /** The message handler. */
    static void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);

    /** Queues one line, if its category is enabled. */
    void appendLog(const QString &message, unsigned long category);

    /** Notes that a host can see each line from now on. */
    void connectNotify(const QMetaMethod &signal) override;
    /** Notes that a host may have cut the logger's own connection. */
    void disconnectNotify(const QMetaMethod &signal) override;

private:
    explicit QtDebugLogger(QObject *parent);

    LogWriterThread *writerThread() const;
    bool isCategoryEnabled(unsigned long category) const;
    void forward(QtMsgType type, const QMessageLogContext &context, const QString &msg);
    LineOutcome post(QStringView textToWrite, unsigned long category, bool isUrgent);
    LineOutcome emitRequest(QStringView textToWrite, unsigned long category, bool isUrgent);
    bool reportDroppedLines(unsigned long category);
    void sendClear();
    std::unique_lock<std::timed_mutex> takeControl(QDeadlineTimer limit);
    void beginThread();
    bool leave(bool isProcessExiting);
    void leaveOnWriterThread();
    static void restoreDefaultHandler();
    static void joinApplication();
    static void leaveApplication();
    static void leaveProcess();

    // protected by m_control:
    bool m_bRunning = false;
    QSharedPointer<QThread> m_logWriterThread;
    LogWriterWorkerPointer m_writerWorker;
    // protected by m_enabling; the mask mirrors it for the threads that log:
    QMap<unsigned long, bool> m_logEnableMap;
    std::atomic<unsigned long> m_enabledCategories{0};

    std::atomic<int> m_fatalFlushTimeoutMs{0};
    std::atomic<bool> m_isForwarding{false};
    std::atomic<QtMessageHandler> m_formerHandler{nullptr};
    std::atomic<bool> m_isLeaving{false};
    int m_leavingBudgetMs = 0;

    std::timed_mutex m_control;
    std::mutex m_enabling;
};
