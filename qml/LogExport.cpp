// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogExport.h"

#include "SizeText.h"

#include <Brindlecast/DiskSpaceChecker.h>
#include <Brindlecast/QtDebugLogger.h>

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalBlocker>
#include <QStorageInfo>

#include <chrono>

#include <sys/stat.h>

using namespace std::chrono_literals;

namespace {

constexpr auto kLookInterval = 1s;
constexpr auto kSizeInterval = 5s;

/** Differs between a folder and another that takes its place: another stick, or a folder deleted and made again. */
QString folderKey(const QString &path)
{
    struct stat info = {};
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISDIR(info.st_mode))
        return {};
    // A new folder often gets the inode number of the one just deleted, so its birth time counts, too.
    const qint64 birth = QFileInfo(path).birthTime().toMSecsSinceEpoch();
    return QStringLiteral("%1:%2:%3").arg(info.st_dev).arg(info.st_ino).arg(birth);
}

bool isVolume(const QString &folder)
{
    return QStorageInfo(folder).rootPath() == QFileInfo(folder).canonicalFilePath();
}

QString firstRemovableVolume()
{
    const auto volumes = QStorageInfo::mountedVolumes();
    for (const QStorageInfo &volume : volumes) {
        QString root = volume.rootPath();
        if (root.startsWith(QLatin1String("/media/")) || root.startsWith(QLatin1String("/run/media/")))
            return root;
    }
    return {};
}

} // namespace

LogExport::LogExport(QObject *parent)
    : QObject(parent)
    , m_logs(nullptr)
    , m_files(m_logs)
    , m_logFolder(m_logs.currentFolderPath())
{
    m_logs.setSortType(QDir::Time);

    connect(m_logs.fileListViewModel().data(), &CommonListViewModel::countUpdated, this, [this] {
        m_isListed = true;
        m_files.forgetDetails();
    });
    connect(&m_logs, &ExportLogViewModel::selectedNumberChangedSignal, this, &LogExport::onSelectionChanged);
    connect(&m_logs, &ExportLogViewModel::logOutputEnabledChangedSignal, this, &LogExport::loggingChanged);
    connect(this, &LogExport::destinationFolderChanged, this, &LogExport::selectionChanged);
    connect(&m_job, &ExportJob::stateChanged, this, [this] {
        // The copies took space, or the stick has gone meanwhile.
        if (m_job.state() == ExportJob::State::Finished) {
            lookAtDestination();
            readDestination();
        }
    });

    connect(&m_lookTimer, &QTimer::timeout, this, &LogExport::lookAround);
    // For the first time when QML has set the properties.
    m_lookTimer.start(0s);
    connect(&m_sizeTimer, &QTimer::timeout, this, &LogExport::reloadGrownLogs);
    m_sizeTimer.start(kSizeInterval);
}

void LogExport::setLogFolder(const QString &folder)
{
    if (folder == m_logFolder)
        return;
    m_logFolder = folder;
    m_marks.clear();
    Q_EMIT logFolderChanged();
    m_logFolderKey.clear();
    lookAtLogFolder();
    Q_EMIT logFolderFoundChanged();
}

void LogExport::setSortOrder(SortOrder order)
{
    if (order == m_sortOrder)
        return;
    m_sortOrder = order;
    switch (order) {
    case SortOrder::NewestFirst:
        m_logs.setSortType(QDir::Time);
        break;
    case SortOrder::OldestFirst:
        m_logs.setSortType(QDir::Time | QDir::Reversed);
        break;
    case SortOrder::LargestFirst:
        m_logs.setSortType(QDir::Size);
        break;
    }
    Q_EMIT sortOrderChanged();
}

void LogExport::setScrolling(bool isScrolling)
{
    if (isScrolling == m_isScrolling)
        return;
    m_isScrolling = isScrolling;
    Q_EMIT scrollingChanged();
}

int LogExport::selectedCount()
{
    return m_logs.selectedNumberStr().toInt();
}

QString LogExport::selectedSize() const
{
    return sizeText(m_selectedBytes);
}

bool LogExport::selectionFits() const
{
    return m_freeBytes < 0 || m_selectedBytes <= m_freeBytes;
}

void LogExport::setDestination(const QString &folder)
{
    if (folder == m_destination)
        return;
    m_destination = folder;
    Q_EMIT destinationChanged();
    lookAtDestination();
}

void LogExport::setDestinationMustBeVolume(bool mustBe)
{
    if (mustBe == m_destinationMustBeVolume)
        return;
    m_destinationMustBeVolume = mustBe;
    Q_EMIT destinationChanged();
    lookAtDestination();
}

QString LogExport::freeSpace() const
{
    return sizeText(m_freeBytes);
}

void LogExport::setLogging(bool logging)
{
    if (logging == m_logs.isLogging())
        return;
    if (logging)
        QtDebugLogger::getInstance()->enableOutputFile();
    else
        QtDebugLogger::getInstance()->disableOutputFile();
    m_logs.toggleLogging();
}

void LogExport::toggle(int row)
{
    m_files.update();
    bool selected = false;
    if (!m_logs.isItemSelected(row, selected))
        return;
    m_marks.insert(m_files.nameAt(row), !selected);
    if (selected)
        m_logs.setUnselected(row);
    else
        m_logs.setSelected(row);
    m_files.updateMark(row);
}

void LogExport::selectAll()
{
    m_marks.clear();
    m_logs.setAllSelected();
    m_files.update();
}

void LogExport::selectNone()
{
    m_marks.clear();
    m_logs.setNoneSelected();
    m_files.update();
}

bool LogExport::exportSelected()
{
    lookAtDestination();
    QStringList paths;
    m_logs.getSelectedLogs(paths);
    if (!m_job.start(paths, m_destinationFolder))
        return false;
    qInfo() << "Export of" << paths.size() << "logs to" << m_destinationFolder;
    return true;
}

QString LogExport::pathOf(const QString &fileName) const
{
    return QDir(m_logFolder).filePath(fileName);
}

QString LogExport::textOfSize(qint64 bytes) const
{
    return sizeText(bytes);
}

void LogExport::onSelectionChanged()
{
    if (m_isListed) {
        m_isListed = false;
        restoreMarks();
        m_files.update();
    }
    QStringList paths;
    m_selectedBytes = m_logs.getSelectedLogs(paths);
    Q_EMIT selectionChanged();
}

void LogExport::restoreMarks()
{
    if (m_marks.isEmpty())
        return;
    const QHash<QString, bool> marks = m_marks;
    m_marks.clear();
    m_files.update();
    // The caller emits one signal for all of them.
    const QSignalBlocker blocker(m_logs);
    for (int row = 0; row < m_files.count(); ++row) {
        const auto mark = marks.constFind(m_files.nameAt(row));
        if (mark == marks.cend())
            continue;
        m_marks.insert(mark.key(), *mark);
        if (*mark)
            m_logs.setSelected(row);
        else
            m_logs.setUnselected(row);
    }
}

void LogExport::lookAround()
{
    lookAtLogFolder();
    lookAtDestination();
    m_lookTimer.start(kLookInterval);
}

void LogExport::lookAtLogFolder()
{
    const QString key = folderKey(m_logFolder);
    if (key == m_logFolderKey)
        return;
    m_logFolderKey = key;
    m_logs.setCurrentFolder(m_logFolder);
    Q_EMIT logFolderFoundChanged();
}

void LogExport::lookAtDestination()
{
    if (m_job.isActive())
        return;
    QString folder = m_destination.isEmpty() ? firstRemovableVolume() : m_destination;
    QString key = folderKey(folder);
    if (key.isEmpty() || (m_destinationMustBeVolume && !isVolume(folder))) {
        folder.clear();
        key.clear();
    }
    if (key == m_destinationKey && folder == m_destinationFolder)
        return;
    m_destinationFolder = folder;
    m_destinationKey = key;
    readDestination();
}

void LogExport::readDestination()
{
    m_freeBytes = m_destinationFolder.isEmpty() ? -1 : DiskSpaceChecker(nullptr).getFreeDisk(m_destinationFolder);
    Q_EMIT destinationFolderChanged();
}

void LogExport::reloadGrownLogs()
{
    if (!m_isScrolling && !m_job.isActive() && isLogFolderFound() && m_files.hasGrown())
        m_logs.setCurrentFolder(m_logFolder);
}
