// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogExport.h"

#include <Brindlecast/DiskSpaceChecker.h>
#include <Brindlecast/QtDebugLogger.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QLocale>
#include <QStorageInfo>

#include <chrono>

#include <sys/stat.h>

using namespace std::chrono_literals;

namespace {

constexpr auto kLookInterval = 1s;
constexpr auto kSizeInterval = 5s;

/** Tells a folder from another that takes its place: another stick, or a folder deleted and made again. */
QString folderKey(const QString &path)
{
    struct stat info = {};
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISDIR(info.st_mode))
        return {};
    // A new folder often gets the number of the one just deleted.
    const qint64 birth = QFileInfo(path).birthTime().toMSecsSinceEpoch();
    return QStringLiteral("%1:%2:%3").arg(info.st_dev).arg(info.st_ino).arg(birth);
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

QString fileName(const CommonListViewModelPointer &files, int row)
{
    return files->get(row).value(QLatin1String("file_name")).toString();
}

} // namespace

LogExport::LogExport(QObject *parent)
    : QObject(parent)
    , m_logs(nullptr)
    , m_logFolder(m_logs.currentFolderPath())
{
    m_logs.setSortType(QDir::Time);

    // Connected before any view is, so that bindings see the marks as they were put back.
    connect(files(), &CommonListViewModel::countUpdated, this, &LogExport::onRowsReplaced);
    connect(&m_logs, &ExportLogViewModel::selectedNumberChangedSignal, this, &LogExport::onSelectionChanged);
    connect(&m_logs, &ExportLogViewModel::logOutputEnabledChangedSignal, this, [this] {
        if (m_logs.isLogging())
            QtDebugLogger::getInstance()->enableOutputFile();
        else
            QtDebugLogger::getInstance()->disableOutputFile();
    });
    connect(this, &LogExport::destinationChanged, this, &LogExport::selectionFitsChanged);
    connect(&m_job, &ExportJob::stateChanged, this, [this] {
        if (m_job.state() == ExportJob::State::Finished) {
            m_destinationKey.clear();
            lookAtDestination();
        }
    });

    connect(&m_lookTimer, &QTimer::timeout, this, &LogExport::lookAround);
    // First of all after the properties that QML sets have arrived.
    m_lookTimer.start(0s);
    connect(&m_sizeTimer, &QTimer::timeout, this, &LogExport::reloadGrownLogs);
    m_sizeTimer.start(kSizeInterval);
}

void LogExport::setLogFolder(const QString &folder)
{
    if (folder == m_logFolder)
        return;
    m_logFolder = folder;
    m_logFolderKey.clear();
    m_marks.clear();
    lookAtLogFolder();
    Q_EMIT logFolderChanged();
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

void LogExport::setDestination(const QString &folder)
{
    if (folder == m_destination)
        return;
    m_destination = folder;
    lookAtDestination();
    Q_EMIT destinationChanged();
}

bool LogExport::selectionFits()
{
    QStringList selected;
    return m_freeBytes < 0 || m_logs.getSelectedLogs(selected) <= m_freeBytes;
}

void LogExport::toggle(int row)
{
    bool selected = false;
    if (!m_logs.isItemSelected(row, selected))
        return;
    m_marks.insert(fileName(m_logs.fileListViewModel(), row), !selected);
    if (selected)
        m_logs.setUnselected(row);
    else
        m_logs.setSelected(row);
}

void LogExport::selectAll()
{
    m_marks.clear();
    m_logs.setAllSelected();
}

void LogExport::selectNone()
{
    m_marks.clear();
    m_logs.setNoneSelected();
}

void LogExport::exportSelected()
{
    QStringList paths;
    m_logs.getSelectedLogs(paths);
    qInfo() << "Export of" << paths.size() << "logs to" << m_destinationFolder;
    m_job.start(paths, m_destinationFolder);
}

void LogExport::toggleLogging()
{
    m_logs.toggleLogging();
}

QString LogExport::sizeOf(const QString &fileName)
{
    return details(fileName).size;
}

QString LogExport::dateOf(const QString &fileName)
{
    return details(fileName).date;
}

QString LogExport::sizeText(qint64 bytes) const
{
    if (bytes < 0)
        return {};
    // The list model writes KB.
    return QLocale()
        .formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat)
        .replace(QLatin1String("kB"), QLatin1String("KB"));
}

LogExport::Details LogExport::readDetails(const QString &fileName) const
{
    const QFileInfo info(QDir(m_logFolder), fileName);
    return {sizeText(info.size()), QLocale().toString(info.lastModified(), QStringLiteral("d MMM yyyy, HH:mm"))};
}

LogExport::Details LogExport::details(const QString &fileName)
{
    const auto found = m_details.constFind(fileName);
    return found != m_details.cend() ? *found : *m_details.insert(fileName, readDetails(fileName));
}

void LogExport::onRowsReplaced()
{
    // Every listing begins with an empty list; the rows that follow are shown with what the files hold now.
    m_listed = true;
    if (files()->count() == 0)
        m_details.clear();
}

void LogExport::onSelectionChanged()
{
    if (m_listed) {
        m_listed = false;
        restoreMarks();
    }
    Q_EMIT selectionFitsChanged();
}

void LogExport::restoreMarks()
{
    const QHash<QString, bool> marks = m_marks;
    m_marks.clear();
    for (int row = 0; row < files()->count(); ++row) {
        const QString name = fileName(m_logs.fileListViewModel(), row);
        const auto mark = marks.constFind(name);
        if (mark == marks.cend())
            continue;
        m_marks.insert(name, *mark);
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
    Q_EMIT logFolderChanged();
}

void LogExport::lookAtDestination()
{
    if (m_job.isActive())
        return;
    const QString folder = m_destination.isEmpty() ? firstRemovableVolume() : m_destination;
    const QString key = folderKey(folder);
    if (key == m_destinationKey && folder == m_destinationFolder)
        return;
    m_destinationFolder = folder;
    m_destinationKey = key;
    m_freeBytes = key.isEmpty() ? -1 : DiskSpaceChecker(nullptr).getFreeDisk(folder);
    Q_EMIT destinationChanged();
}

void LogExport::reloadGrownLogs()
{
    if (m_scrolling || m_job.isActive() || !logFolderFound())
        return;
    for (auto shown = m_details.cbegin(); shown != m_details.cend(); ++shown) {
        if (readDetails(shown.key()).size != shown->size) {
            m_logs.setCurrentFolder(m_logFolder);
            return;
        }
    }
}
