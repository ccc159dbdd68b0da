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
 * Lines are filed under categories: the single-bit numbers 1, 2, 4, 8, 16, 32 and 64. Qt messages have category 1. All
 * start disabled; a line of a disabled category is dropped silently.
 *
 * The thread that raises a message formats the line and queues it; it never waits for the disk. A writer thread,
 * "logWriterThread", does all the file work (LogWriterWorker). While it does not run, lines wait. At most 262,144 lines
 * wait (some 80 MB of lines of 145 characters); further ones are dropped until the queue has fallen by a sixteenth, and
 * then one line tells how many were. Lines dropped right before the process exits are told on standard error only.
 *
 * When the application object is destroyed, and when the process calls exit(), everything raised before is written, for
 * three seconds at most, whatever the disk does; from then on messages go to Qt's default output. A host that makes
 * another application object switches file output on again. No application object is needed: output may be switched on
 * before there is one, and in a process that makes none. A child process made by fork() has no logger.
 *
 * @note Hosts must be compiled with QT_MESSAGELOGCONTEXT to have file and line in release builds. The CMake target and
 * the pkg-config file pass it on.
 *
 * Destroyed, and in the child of a fork(), the logger does nothing: messages go to Qt's default output. It is destroyed
 * when the process exits, unless that happens on the writer thread or while a slot connected to its signals runs.
 *
 * Times are local ones; a change of the time zone shows from the next second on.
 *
 * Thread safety: thread-safe. A message raised while the handler runs on the same thread, by a slot that is connected
 * directly to handleIOSignal() for example, goes to standard error. A thread may be cancelled inside any operation.
 */
class BRINDLECAST_EXPORT QtDebugLogger : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(QtDebugLogger)

public:
    /** The one logger, which the first call constructs; the process owns it. Always the same address. */
    static QtDebugLogger *getInstance();

    /** Runs at process exit: writes out what was raised before, for at most three seconds, and ends the thread. */
    ~QtDebugLogger() override;

    /**
     * Disables every category and has all log files closed; removes nothing.
     *
     * The next line, once its category is enabled again, begins a new file, or goes on in the former one if that was
     * begun in the same second. A clear has its place among the lines: those raised before it go to the former file,
     * also when the writer thread is stopped meanwhile.
     */
    void clearData();

    /** Starts the writer thread unless it runs; takes about 3 ms. On the writer thread itself it does nothing. */
    void startThread();

    /**
     * Ends the writer thread if it runs, and waits for that. Lines that wait then are kept, in order, until the thread
     * is started again.
     *
     * The write in hand is finished first, and with setSyncInterval() a last sync. If that takes more than two seconds,
     * the thread is cancelled, and a write that it was in is cut off. At the next start, the file tells whether it got
     * all of that; if not, what it got is taken back and written again. So lines are neither torn nor lost, but one in
     * a file that can't be read back, a pipe for example, may come twice.
     *
     * There is no limit after that: a device that hangs is waited for. So is code of the host that runs on that thread:
     * a slot connected directly to handleIOSignal(), which a message of the space guard calls; a posted event; the
     * handler of setForwarding(). Such code must not wait for the thread that calls this.
     *
     * On the writer thread itself it does nothing.
     */
    void stopThread();

    /**
     * Makes the logger the process's message handler, instead of any other, and starts the writer thread.
     *
     * The other one gets the messages no more, and the console is silent, unless setForwarding() is on.
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
     * every file is closed that disableOutputFile() or clearData() asked for before it.
     *
     * To be called before a host exports its logs or cuts the power; then sync() or syncfs() brings them to storage.
     *
     * @param timeoutMs the longest time to wait, in milliseconds; a negative value means no limit.
     * @return true when that is done; false at the time limit, at once when the writer thread does not run or is
     * stopped meanwhile, and when the newest line could not be written (disk full, no directory). On the writer thread
     * itself, which can't wait for itself, it only tells whether that is done.
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
     * That handler is called on the thread that raised the message, after the line was queued (and the time of
     * setFatalFlushTimeout() is over), also for disabled categories. It has to exist for as long as the process. A
     * handler that calls this logger's in its turn gets each message once.
     *
     * @note The price: whoever raises a message waits for that handler, and so for the console; the writer thread too,
     * when the message is the space guard's.
     */
    void setForwarding(bool isForwarding);

    /**
     * Keeps the lines that wait for the writer thread in a file in memory, where they outlive the process, however it
     * ends: killed, crashed, aborted, replaced by exec(). The call of the next process that names the same file takes
     * them up: once its writer thread runs, they are appended to the log files that they were meant for, or to a new
     * one where that is gone, each once, in their order, before anything newer.
     *
     * To be called before enableOutputFile(), on every start, with the same path. It stays on for the life of the
     * process. The thread that raises a message pays some ten instructions for it, and no system call.
     *
     * @param path a file of this host alone, on a file system in memory (tmpfs: usually below /run or /dev/shm). It is
     * made if it is missing, and stays when the process ends. Nobody may shorten it while the host runs: the system
     * would end the host with SIGBUS.
     * @param bytes how much may wait there, rounded up to whole chunks of 32 KiB, at least two of them; a file that is
     * larger stays so. A waiting line takes 16 bytes and two for each character. Lines for which there is no room,
     * and those of more than 16,000 characters, are not kept; after a crash one line tells how many were lost: "at
     * least", since a damaged file may hide some.
     *
     * What a full disk refuses for good, and what has no log file, is left to the next process, as far as it is in the
     * file, and takes room there until then. Lines that are raised on the writer thread itself (by a slot, by the space
     * guard) are not kept.
     *
     * @return false, with nothing kept or changed, when output has been switched on before, or lines wait already; when
     * another process uses the file; when it is not a regular file in memory that is this user's alone (mode 0600, one
     * link, not a symbolic link) and was made by this operation or is empty; when there is no room for it; and when the
     * log file that was written to at the last moment can't be read now.
     */
    bool keepWaitingLines(const QString &path, int bytes = 512 * 1024);

    /**
     * Sets how long, in milliseconds, a written line may lie with the operating system before the writer thread brings
     * it to storage (fdatasync()); 0, the default, leaves that to the system, which may take half a minute or more.
     *
     * With an interval, a loss of power costs the lines of that time, and a disk that hangs holds nobody up but the
     * writer thread and whoever stops it. Critical and fatal lines, and what came before them, are brought to storage
     * at once, but not more often than every 100 ms. So is the rest of a file that is closed, and everything when the
     * writer thread is stopped. The name of a new file is brought to storage with its first lines. A disk full of other
     * programs' unwritten data makes all of this slow; see docs/in-your-product.md for intervals that suit a medium.
     *
     * A negative value counts as 0. What was written before the call keeps its time.
     */
    void setSyncInterval(int ms);

Q_SIGNALS:
    /**
     * A line is on its way to the writer thread. Emitted on the thread that raised it, inside the message handler: on
     * the writer thread, for what the space guard says. Posted events are delivered there, but no timer fires.
     *
     * A host may emit it too, with a request of its own: its lines are written in their turn. Requests are only read
     * from then on. How many of its own wait is up to the host: the bound is for the logger's lines.
     *
     * @note Connecting to this signal has a price: until a host does, lines take a shorter way, without a request.
     */
    void handleIOSignal(FileIOObjectPointer pobj);

    /** The log files are to be closed. Emitted on the thread that called clearData() or disableOutputFile(), or exits.
     */
    void clearSignal();

protected:
    /** The message handler. */
    static void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);

    /** Queues one line, if its category is enabled. */
    void appendLog(const QString &message, unsigned long category);

    /** Notes that a host can see lines from now on. */
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
