// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogWriterWorker.h"

#include "LogDirectory_p.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QScopeGuard>

#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr unsigned long kStartupCategory = 4;
constexpr qint64 kFileSizeLimitBytes = 50LL * 1024 * 1024;
constexpr qint64 kNeededSpaceBytes = 50LL * 1024 * 1024;

void ensureDirectory(const QString &path)
{
    const QDir directory(path);
    if (!directory.exists())
        directory.mkpath(path);
}

// Asked before every write. QFile::size() asks for all that the system knows of the file: 0.2 us more on tmpfs, and 160
// instructions. Where the file's end has no position, it still answers.
qint64 sizeOf(const QFile &file)
{
    const off_t end = file.isOpen() ? ::lseek(file.handle(), 0, SEEK_END) : -1;
    return end >= 0 ? end : file.size();
}

/** Puts the current directory back at the end of its life, also one that has been removed or can't be listed. */
class CurrentDirectoryKeeper
{
public:
    CurrentDirectoryKeeper()
        : m_descriptor(::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC))
    {
    }
    ~CurrentDirectoryKeeper()
    {
        if (m_descriptor < 0 || ::fchdir(m_descriptor) != 0)
            QDir::setCurrent(QDir::rootPath()); // Better than keeping a log volume from being unmounted.
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Q_DISABLE_COPY(CurrentDirectoryKeeper)

private:
    const int m_descriptor;
};

} // namespace

LogWriterWorker::LogWriterWorker(QObject *parent)
    : QObject(parent)
    , m_diskChecker(nullptr)
{
    const QString directory = logDirectory();
    ensureDirectory(directory);
    m_diskChecker.setDir(directory);
    m_diskChecker.setNeededSpace(kNeededSpaceBytes);
    m_diskChecker.appendFileFilter(QStringLiteral("*") + QStringLiteral(".log"));
}

void LogWriterWorker::onHandleIO(const FileIOObjectPointer &pobj)
{
    if (!pobj.isNull())
        take(pobj);
}

void LogWriterWorker::onClearData()
{
    take(FileIOObjectPointer());
}

QString LogWriterWorker::makeLogFilePath(unsigned long categories)
{
    const QString directory = logDirectory();
    ensureDirectory(directory);
    const QString time = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_HH-mm-ss"));
    const QString startup = categories == kStartupCategory ? QStringLiteral("startup") : QString();
    return directory + QStringLiteral("log-") + startup + time + QStringLiteral(".log");
}

bool LogWriterWorker::isSameDay(const QDate &lastModifiedTime, const QDate &curTime)
{
    return lastModifiedTime.year() == curTime.year() && lastModifiedTime.month() == curTime.month()
        && lastModifiedTime.day() == curTime.day();
}

void LogWriterWorker::take(const FileIOObjectPointer &requestOrClear)
{
    if (!m_isAccepting.load(std::memory_order_relaxed))
        m_setAside.append(requestOrClear);
    else if (m_isBusy)
        m_deferred.append(requestOrClear);
    else
        handle(requestOrClear);
}

void LogWriterWorker::discardFiles()
{
    m_isDiscardingFiles = true;
    // What was cut off was not written.
    m_isLastRequestWritten.store(false, std::memory_order_relaxed);
}

void LogWriterWorker::workOffSetAside()
{
    if (m_isDiscardingFiles) {
        // The write that was cut off may have left a file torn.
        m_ioMap.clear();
        m_isDiscardingFiles = false;
    }
    // Not by take(): that would put the head of the list at its end when the thread is told to end meanwhile.
    while (!m_setAside.isEmpty() && m_isAccepting.load(std::memory_order_relaxed))
        handle(m_setAside.takeFirst());
}

void LogWriterWorker::handle(const FileIOObjectPointer &requestOrClear)
{
    m_isBusy = true;
    // In a guard: a request that is cut off has been handled, too. What came past the queue, from the writer thread
    // itself or from a host, must not stand in for one that still waits there.
    const bool isQueued = !requestOrClear.isNull() && requestOrClear->m_isQueued;
    const auto count = qScopeGuard([this, isQueued] {
        m_isBusy = false;
        if (isQueued)
            m_handledRequests.store(m_handledRequests.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    });

    carryOut(requestOrClear);
    // Only now that no entry is half updated.
    if (m_isCheckDue)
        guardDirectory();
    if (!m_deferred.isEmpty()) {
        // One round only: a file that makes Qt warn at every write must not keep us here.
        const QList<FileIOObjectPointer> deferred = std::exchange(m_deferred, {});
        for (const FileIOObjectPointer &next : deferred)
            carryOut(next);
    }
}

void LogWriterWorker::carryOut(const FileIOObjectPointer &requestOrClear)
{
    if (requestOrClear.isNull())
        clearFiles();
    else
        writeRequest(*requestOrClear);
}

void LogWriterWorker::writeRequest(const FileIOObject &request)
{
    FileIOObjectPointer entry = m_ioMap.value(request.category);
    if (entry.isNull()) {
        entry = FileIOObjectPointer(new FileIOObject(nullptr));
        entry->category = request.category;
        entry->state = eIOREADYTOINIT;
        m_ioMap.insert(request.category, entry);
    } else {
        entry->state = eIOREADYTOWRITE;
    }
    entry->contentList = request.contentList;

    if (prepareFile(*entry) && entry->writeFile()) {
        entry->contentList.clear();
        if (entry->category != kStartupCategory)
            m_lastModifiedTime = QDateTime::currentDateTimeUtc();
    }
    const bool isWritten = entry->contentList.isEmpty() && !entry->hasBacklog();
    m_isLastRequestWritten.store(isWritten, std::memory_order_relaxed);
}

bool LogWriterWorker::prepareFile(FileIOObject &file)
{
    if (file.state == eIOREADYTOINIT) {
        nameFile(file);
        file.state = file.path.isEmpty() ? eIONONE : eIOREADYTOOPEN;
    }
    if (file.state == eIOREADYTOOPEN)
        file.state = openFile(file) ? eIOREADYTOWRITE : eIONONE;
    if (file.state == eIOREADYTOWRITE && file.category != kStartupCategory
        && sizeOf(file.myfile) >= kFileSizeLimitBytes) {
        file.myfile.close(); // Not closeFile(): the waiting lines belong into the new file.
        nameFile(file);
        if (!openFile(file))
            file.state = eIONONE;
    }
    return file.state == eIOREADYTOWRITE;
}

void LogWriterWorker::nameFile(FileIOObject &file)
{
    file.path = makeLogFilePath(file.category);
    m_diskChecker.setCurrentLogFile(file.path);
    if (file.category != kStartupCategory)
        m_lastModifiedTime = QDateTime::currentDateTimeUtc();
}

bool LogWriterWorker::openFile(FileIOObject &file)
{
    if (!file.openFile())
        return false;
    if (file.path != m_lastOpenedPath) {
        m_lastOpenedPath = file.path;
        m_isCheckDue = true;
    }
    return true;
}

void LogWriterWorker::clearFiles()
{
    const QList<FileIOObjectPointer> files = m_ioMap.values();
    for (const FileIOObjectPointer &file : files) {
        file->writeFile();
        file->closeFile();
    }
    m_ioMap.clear();
}

void LogWriterWorker::guardDirectory()
{
    m_isCheckDue = false;
    const CurrentDirectoryKeeper keeper;
    m_diskChecker.checkDisk();
    forgetRemovedFiles();
}

void LogWriterWorker::forgetRemovedFiles()
{
    for (auto entry = m_ioMap.begin(); entry != m_ioMap.end();) {
        const FileIOObject &file = *entry.value();
        if (file.myfile.isOpen() && !QFile::exists(file.path))
            entry = m_ioMap.erase(entry);
        else
            ++entry;
    }
}
