// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogWriterWorker.h"

#include "LogCategory_p.h"
#include "LogDirectory_p.h"
#include "writer/Cancellation_p.h"
#include "writer/KeptFile_p.h"
#include "writer/LocalTime_p.h"
#include "writer/LogQueue_p.h"
#include "writer/LogWriterThread_p.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QScopedValueRollback>

#include <algorithm>
#include <limits>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 kNeededSpaceBytes = 50LL * 1024 * 1024;
constexpr qint64 kPageBytes = 4096;
constexpr int kUrgentSyncIntervalMs = 100;

// The size at which a file is replaced.
constexpr qint64 sizeLimitOf(unsigned long category)
{
    return category == LogCategory::kStartup ? std::numeric_limits<qint64>::max() : BRINDLECAST_FILE_SIZE_LIMIT;
}

void ensureDirectory(const QString &path)
{
    const QDir directory(path);
    if (!directory.exists())
        directory.mkpath(path);
}

} // namespace

LogWriterWorker::LogWriterWorker(QObject *parent)
    : QObject(parent)
    , m_diskChecker(nullptr)
{
    const QString directory = logDirectory();
    ensureDirectory(directory);
    m_diskChecker.setDir(directory);
    m_diskChecker.setNeededSpace(kNeededSpaceBytes);
    m_diskChecker.appendFileFilter(QStringLiteral("*.log"));
    m_diskChecker.m_keepsCurrentDirectory = true;
}

void LogWriterWorker::onHandleIO(const FileIOObjectPointer &pobj)
{
    if (!pobj.isNull())
        accept({false, pobj->category, pobj->textToWrite(), pobj->m_isUrgent});
}

void LogWriterWorker::onClearData()
{
    accept({true, 0, QString(), false});
}

QString LogWriterWorker::makeLogFilePath(unsigned long categories)
{
    const QString directory = logDirectory();
    ensureDirectory(directory);
    char time[32];
    formatLocalTime(time, "%Y-%m-%d_%H-%M-%S", currentSecond());
    const QString startup = categories == LogCategory::kStartup ? QStringLiteral("startup") : QString();
    return directory + QStringLiteral("log-") + startup + QLatin1String(time) + QStringLiteral(".log");
}

bool LogWriterWorker::isSameDay(const QDate &lastModifiedTime, const QDate &curTime)
{
    return lastModifiedTime.year() == curTime.year() && lastModifiedTime.month() == curTime.month()
        && lastModifiedTime.day() == curTime.day();
}

bool LogWriterWorker::hasBacklog() const
{
    return std::any_of(m_ioMap.begin(), m_ioMap.end(),
                       [](const FileIOObjectPointer &file) { return file->hasBacklog(); });
}

// To be called when a writer thread begins. If the thread before was cancelled in a write, finds out whether the file
// got all of it; if not, it is written again.
void LogWriterWorker::resume(LogQueue &queue)
{
    const bool hadBacklog = hasBacklog();
    bool isRunWritten = false;
    int entries = 0; // Of the one write, at most, that was cut off.
    for (const FileIOObjectPointer &file : qAsConst(m_ioMap)) {
        if (!file->isCutOff())
            continue;
        isRunWritten = file->settleCutWrite();
        entries = file->m_entries;
        if (isToBeSynced())
            noteUnsynced(*file, true);
    }
    if (isRunWritten || (hadBacklog && !hasBacklog()))
        m_isNewestLineWritten = true;
    if (isRunWritten && entries == 0) {
        m_deferred.removeFirst();
    } else if (isRunWritten) {
        const bool isRequest = queue.front().at(0).kind == EntryKind::Request;
        queue.removeFront(entries, EntryFate::Settled, true, true);
        if (isRequest)
            LogWriterThread::callHost([&queue] { queue.takeRemovedRequest().clear(); });
    }
    finishUp();
}

// Writes what waits in one chunk of the queue, unless the thread is asked to end meanwhile.
void LogWriterWorker::writeWaiting(LogQueue &queue)
{
    if (!queue.isServing())
        return;
    m_sizedFile = nullptr; // Another process may have appended to the files.
    QueuedEntries waiting = queue.front();
    while (waiting.count() > 0) {
        const bool isRequest = waiting.at(0).kind == EntryKind::Request;
        const int entries = writeFront(waiting);
        // The steps below may run a host's code. Its event loop may write more of the queue.
        const bool isMoreToDo = isRequest || m_isCheckDue || !m_deferred.isEmpty();
        waiting.dropFirst(entries); // Before their memory is used again.
        const bool goesOn = queue.removeFront(entries, m_fate, !isMoreToDo, m_isNewestLineWritten);
        if (isMoreToDo) {
            const QScopedValueRollback<int> unhandled(m_unhandledEntries, m_unhandledEntries + entries);
            // By a scope guard, because that runs also when the thread is cancelled.
            const auto handled = qScopeGuard([&queue, entries] { queue.addHandled(entries); });
            if (isRequest)
                LogWriterThread::callHost([&queue] { queue.takeRemovedRequest().clear(); });
            finishUp();
            return;
        }
        if (!goesOn)
            return;
    }
}

// Writes the first entry, together with those of the same category that follow it; returns how many that were.
int LogWriterWorker::writeFront(const QueuedEntries &waiting)
{
    const QScopedValueRollback<Activity> writing(m_activity, Activity::Writing);
    const QueuedEntry first = waiting.at(0);
    m_fate = EntryFate::Settled;
    if (first.kind == EntryKind::Settled)
        return 1;
    if (first.kind == EntryKind::Clear) {
        clearFiles();
        return 1;
    }
    FileIOObject &file = fileOf(first.category);
    if (!prepareFile(file) || first.text.isEmpty()) {
        m_isNewestLineWritten &= first.text.isEmpty();
        if (!first.text.isEmpty())
            m_fate = EntryFate::Unwritable;
        return 1;
    }

    const qint64 begin = sizeOf(file);
    const qint64 room = qMin(kPageBytes - begin % kPageBytes, sizeLimitOf(file.category) - begin);
    int entries = file.hasBacklog() ? 1 : qMax(1, waiting.lines(room));
    QByteArray bytes = waiting.text(entries).toUtf8();
    while (entries > 1 && bytes.size() > room) { // Some characters have several bytes.
        entries = qMax(1, qMin(entries - 1, static_cast<int>(entries * room / bytes.size())));
        bytes = waiting.text(entries).toUtf8();
    }
    file.m_entries = entries;
    if (entries > 1 && !file.writeWhole(bytes, begin)) {
        // The disk refused them together: go on line by line.
        m_sizedFile = nullptr;
        entries = 1;
        bytes = first.text.toUtf8();
    }
    if (entries > 1)
        noteWritten(file, bytes.size());
    else
        writeSingly(file, bytes, 1);
    if (isToBeSynced())
        noteUnsynced(file, waiting.isUrgent(entries));
    return entries;
}

// Lets another thread take the worker over; false when this one has left a FileIOObject half updated.
bool LogWriterWorker::handOver(LogQueue &queue)
{
    if (m_activity == Activity::Writing)
        return false;
    m_activity = Activity::None;
    forgetRemovedFiles();
    queue.addHandled(m_unhandledEntries);
    return true;
}

void LogWriterWorker::accept(const Deferred &raised)
{
    m_deferred.append(raised);
    if (isAtRest())
        finishUp();
}

void LogWriterWorker::writeAtOnce(const Deferred &raised)
{
    const QScopedValueRollback<Activity> writing(m_activity, Activity::Writing);
    if (raised.isClear) {
        clearFiles();
        return;
    }
    FileIOObject &file = fileOf(raised.category);
    if (prepareFile(file) && !raised.text.isEmpty()) {
        writeSingly(file, raised.text.toUtf8(), 0);
        if (m_keeper != nullptr)
            m_keeper->kept()->withdraw();
        if (isToBeSynced())
            noteUnsynced(file, raised.isUrgent);
    } else {
        m_isNewestLineWritten &= raised.text.isEmpty();
    }
}

// Does what had to wait until no FileIOObject is half updated.
void LogWriterWorker::finishUp()
{
    writeDeferred();
    if (m_isCheckDue) {
        guardDirectory();
        writeDeferred(); // The guard's messages.
    }
}

// Writes what was deferred before, but not what is deferred meanwhile: a file that makes Qt warn at every write would
// never let this end. Each is removed only when it is written, so that a cancelled thread leaves it to the next one.
void LogWriterWorker::writeDeferred()
{
    for (auto left = m_deferred.size(); left > 0; --left) {
        const Deferred raised = m_deferred.first();
        writeAtOnce(raised);
        m_deferred.removeFirst();
    }
}

void LogWriterWorker::writeSingly(FileIOObject &file, const QByteArray &bytes, int entries)
{
    const bool hadBacklog = file.hasBacklog();
    file.m_entries = entries;
    const FileIOObject::Outcome outcome = file.writeBatch(bytes, sizeOf(file));
    if (outcome == FileIOObject::Outcome::Waiting)
        m_fate = EntryFate::Waiting;
    else if (outcome == FileIOObject::Outcome::Dropped)
        m_fate = EntryFate::Unwritable;
    noteWritten(file, bytes.size());
    m_isNewestLineWritten &= outcome == FileIOObject::Outcome::Written;
    if (hadBacklog || file.hasBacklog())
        m_sizedFile = nullptr;
}

void LogWriterWorker::noteWritten(const FileIOObject &file, qint64 bytes)
{
    if (m_sizedFile == &file)
        m_size += bytes;
    m_isNewestLineWritten = !file.hasBacklog();
    if (file.category != LogCategory::kStartup)
        m_lastModifiedTime = QDateTime::currentDateTimeUtc();
}

void LogWriterWorker::noteUnsynced(FileIOObject &file, bool isUrgent)
{
    file.m_isUnsynced = true;
    m_nextSync = qMin(m_nextSync, QDeadlineTimer(m_syncIntervalMs.load()));
    if (isUrgent)
        m_nextSync = qMin(m_nextSync, m_nextUrgentSync);
}

void LogWriterWorker::syncIfDue()
{
    if (!m_nextSync.isForever() && m_nextSync.hasExpired())
        sync();
}

void LogWriterWorker::sync()
{
    for (const FileIOObjectPointer &file : qAsConst(m_ioMap))
        file->sync();
    m_nextSync = QDeadlineTimer::Forever;
    m_nextUrgentSync.setRemainingTime(kUrgentSyncIntervalMs);
}

FileIOObject &LogWriterWorker::fileOf(unsigned long category)
{
    FileIOObjectPointer &file = m_ioMap[category];
    if (file.isNull()) {
        file = FileIOObjectPointer(new FileIOObject(nullptr));
        file->category = category;
        file->m_keeper = m_keeper;
        file->state = eIOREADYTOINIT;
    } else if (file->state != eIOREADYTOOPEN) { // If it is, the thread was cancelled in openFile().
        file->state = eIOREADYTOWRITE;
    }
    return *file;
}

// Names, opens or replaces the file as needed; false when no lines can be written to it.
bool LogWriterWorker::prepareFile(FileIOObject &file)
{
    if (file.state == eIOREADYTOINIT) {
        if (!takeUpFile(file))
            nameFile(file);
        file.state = eIOREADYTOOPEN;
    }
    if (file.state == eIOREADYTOOPEN)
        openFile(file);
    if (file.state == eIOREADYTOWRITE && sizeOf(file) >= sizeLimitOf(file.category)) {
        file.sync();
        file.myfile.close(); // Not closeFile(), which would write the backlog: that belongs into the new file.
        nameFile(file);
        openFile(file);
    }
    return file.myfile.isOpen();
}

void LogWriterWorker::nameFile(FileIOObject &file)
{
    file.path = makeLogFilePath(file.category);
    m_diskChecker.setCurrentLogFile(file.path);
    if (file.category != LogCategory::kStartup)
        m_lastModifiedTime = QDateTime::currentDateTimeUtc();
}

// Continues the log file that the category had in the process before, if that kept lines and the file still exists.
bool LogWriterWorker::takeUpFile(FileIOObject &file)
{
    const QByteArray name = m_keeper != nullptr ? m_keeper->kept()->name(file.category) : QByteArray();
    const QFileInfo found(logDirectory() + QFile::decodeName(name));
    if (name.isEmpty() || !found.isFile() || found.isSymLink())
        return false;
    file.path = found.filePath();
    m_diskChecker.setCurrentLogFile(file.path);
    m_lastOpenedPath = file.path; // Not a new file, so no reason for the guard to look.
    return true;
}

void LogWriterWorker::openFile(FileIOObject &file)
{
    m_sizedFile = nullptr;
    file.state = eIOREADYTOOPEN;
    file.state = file.openFile() ? eIOREADYTOWRITE : eIONONE;
    if (file.state == eIONONE)
        return;
    if (m_keeper != nullptr)
        m_keeper->kept()->setName(file.category, QFile::encodeName(QFileInfo(file.path).fileName()));
    if (file.path != m_lastOpenedPath) {
        m_lastOpenedPath = file.path;
        m_isCheckDue = true;
    }
}

// Asks the system once in a round; from then on the size is counted. Not by QFile::size(), which reads all attributes
// of the file: that takes 0.2 us more on tmpfs, and 160 instructions. It serves where lseek() fails, for a pipe for
// example.
qint64 LogWriterWorker::sizeOf(const FileIOObject &file)
{
    if (m_sizedFile != &file) {
        const off_t end = file.myfile.isOpen() ? ::lseek(file.myfile.handle(), 0, SEEK_END) : -1;
        m_size = end >= 0 ? end : file.myfile.size();
        m_sizedFile = file.myfile.isOpen() ? &file : nullptr;
    }
    return m_size;
}

void LogWriterWorker::clearFiles()
{
    m_sizedFile = nullptr;
    const bool hadBacklog = hasBacklog();
    for (const FileIOObjectPointer &file : qAsConst(m_ioMap))
        file->closeFile();
    if (hadBacklog)
        m_isNewestLineWritten = !hasBacklog();
    m_ioMap.clear();
    if (m_keeper != nullptr)
        m_keeper->kept()->forgetNames();
}

void LogWriterWorker::guardDirectory()
{
    const QScopedValueRollback<Activity> guarding(m_activity, Activity::Guarding);
    m_isCheckDue = false;
    m_diskChecker.checkDisk();
    forgetRemovedFiles();
}

void LogWriterWorker::forgetRemovedFiles()
{
    m_sizedFile = nullptr;
    for (auto entry = m_ioMap.begin(); entry != m_ioMap.end();) {
        const FileIOObject &file = *entry.value();
        if (file.myfile.isOpen() && !QFile::exists(file.path))
            entry = m_ioMap.erase(entry);
        else
            ++entry;
    }
}
