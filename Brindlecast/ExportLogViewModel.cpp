// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ExportLogViewModel.h"

#include "FileOrder_p.h"
#include "ListedFiles_p.h"
#include "LogDirectory_p.h"
#include "MessageSite_p.h"

#include <QFile>
#include <QHash>
#include <QJsonValue>
#include <QScopedValueRollback>
#include <QVariant>
#include <QVector>

#include <utility>

#include <sys/stat.h>

namespace {

constexpr qint64 kBytesPerKilobyte = 1024;

// Published line numbers, unrelated to this file's lines.
constexpr MessageSite kSetCurrentFolder = {__FILE__, 24, "void ExportLogViewModel::setCurrentFolder(const QString&)"};
constexpr MessageSite kDirectoryChanged
    = {__FILE__, 79, "void ExportLogViewModel::onFileSystemDirectoryChanged(const QString&)"};
constexpr MessageSite kFileChanged = {__FILE__, 88, "void ExportLogViewModel::onFileSystemFileChanged(const QString&)"};

// The keys of a row, which are the list model's roles, too.
QString fileNameKey()
{
    return QStringLiteral("file_name");
}

QString selectedKey()
{
    return QStringLiteral("selected");
}

// Reads the rows by role: building a JSON object for each row takes many times as long.
class RowReader
{
public:
    explicit RowReader(CommonListViewModel &rows)
        : m_rows(rows)
    {
        const QAbstractItemModel &model = rows;
        const QHash<int, QByteArray> roles = model.roleNames();
        m_fileNameRole = roles.key(fileNameKey().toLatin1(), kNoRole);
        m_selectedRole = roles.key(selectedKey().toLatin1(), kNoRole);
    }

    QString fileName(int row) const { return value(row, m_fileNameRole, fileNameKey()).toString(); }

    bool isSelected(int row) const
    {
        const QVariant mark = value(row, m_selectedRole, selectedKey());
        // Only what counts as a boolean in JSON is a mark, as for scripts that read the row.
        return QJsonValue::fromVariant(mark).toBool();
    }

private:
    static constexpr int kNoRole = -1;

    QVariant value(int row, int role, const QString &key) const
    {
        // A host may have named other roles.
        return role == kNoRole ? m_rows.get(row).value(key).toVariant() : m_rows.data(m_rows.index(row), role);
    }

    CommonListViewModel &m_rows;
    int m_fileNameRole;
    int m_selectedRole;
};

} // namespace

struct ExportLogViewModel::Listing
{
    QString folder;
    QFileInfoList entries;
    QVector<qint64> sizes; // by entry, or empty
};

// The entries and counters that belong to the rows once these have changed. They are set within the change, before any
// other slot of the list model's signals runs, so that nobody sees rows beside the entries or counters of other rows.
struct ExportLogViewModel::RowChange
{
    const Listing *listing = nullptr; // null when it stays
    int selectedNumber = 0;
    qint64 selectedFileSize = 0;
    int resetsUnderWay = 0;
    bool isDisturbed = false;
};

bool ExportLogViewModel::enableExport()
{
    return m_selectedNumber > 0;
}

QString ExportLogViewModel::selectedNumberStr()
{
    return QString::number(m_selectedNumber);
}

QString ExportLogViewModel::selectedFileSizeStr()
{
    return QString::number(m_selectedFileSize / kBytesPerKilobyte) + QStringLiteral(" KB");
}

bool ExportLogViewModel::isLogging()
{
    return m_isLogging;
}

void ExportLogViewModel::toggleLogging()
{
    m_isLogging = !m_isLogging;
    Q_EMIT logOutputEnabledChangedSignal();
}

ExportLogViewModel::ExportLogViewModel(QObject *parent)
    : QObject(parent)
    , m_currentFolder(logDirectory())
    , m_currentViewModel(new CommonListViewModel(nullptr))
    , m_files(new ListedFiles)
{
    m_currentViewModel->setRoleNamesOfRow({fileNameKey(), selectedKey()});
    watch(m_currentFolder);
    connect(&m_fileSystemWatcher, &QFileSystemWatcher::directoryChanged, this,
            &ExportLogViewModel::onFileSystemDirectoryChanged);
    connect(&m_fileSystemWatcher, &QFileSystemWatcher::fileChanged, this, &ExportLogViewModel::onFileSystemFileChanged);

    // Connected before anybody else can be, hence called first.
    const CommonListViewModel *rows = m_currentViewModel.data();
    connect(rows, &CommonListViewModel::modelAboutToBeReset, this, &ExportLogViewModel::followRowsAboutToBeReset);
    connect(rows, &CommonListViewModel::modelReset, this, &ExportLogViewModel::followRowsReset);
    connect(rows, &CommonListViewModel::rowsInserted, this, &ExportLogViewModel::onRowsEditedByHost);
}

ExportLogViewModel::~ExportLogViewModel() = default;

CommonListViewModelPointer ExportLogViewModel::fileListViewModel() const
{
    return m_currentViewModel;
}

void ExportLogViewModel::setCurrentFolder(const QString &path)
{
    kSetCurrentFolder.debug() << "setCurrentFolder " << path;
    const QDir folder(path);
    if (!folder.exists())
        return;

    if (!path.isEmpty())
        watch(path);
    const QStringList suffixes = {QStringLiteral(".txt"), QStringLiteral(".log")};
    Listing listing = {path, {}, {}};
    listing.entries = filesInOrder(folder, suffixes, m_sortType, &listing.sizes);
    m_currentFolder = listing.folder;
    rebuildRows(listing);
    Q_EMIT selectedNumberChangedSignal();
}

void ExportLogViewModel::setSortType(QDir::SortFlags sortType)
{
    if (sortType == m_sortType)
        return;
    m_sortType = sortType;
    setCurrentFolder(m_currentFolder);
}

QDir::SortFlags ExportLogViewModel::sortType()
{
    return m_sortType;
}

QString ExportLogViewModel::currentFolderPath()
{
    return m_currentFolder;
}

void ExportLogViewModel::setAllSelected()
{
    markAll(true);
}

void ExportLogViewModel::setSelected(int index)
{
    if (setItemSelected(index))
        Q_EMIT selectedNumberChangedSignal();
}

void ExportLogViewModel::setUnselected(int index)
{
    if (setItemUnselected(index))
        Q_EMIT selectedNumberChangedSignal();
}

void ExportLogViewModel::setNoneSelected()
{
    markAll(false);
}

bool ExportLogViewModel::isItemSelected(int index, bool &isSelected)
{
    if (index < 0 || index >= m_currentViewModel->count())
        return false;
    isSelected = RowReader(*m_currentViewModel).isSelected(index);
    return true;
}

qint64 ExportLogViewModel::getSelectedLogs(QStringList &nameList)
{
    qint64 total = 0;
    const RowReader rows(*m_currentViewModel);
    for (int index = 0; index < m_currentViewModel->count(); ++index) {
        const QFileInfo entry = rows.isSelected(index) ? m_files->fileOfRow(index) : QFileInfo();
        if (entry.filePath().isEmpty())
            continue;
        nameList.append(entry.filePath());
        total += fileSizeOfRow(index);
    }
    return total;
}

bool ExportLogViewModel::makeFileViewItemInfo(const QFileInfo &info, CommonListItemData &data)
{
    if (!info.isDir() && !info.isFile())
        return false;
    data.setValue(fileNameKey(), info.fileName());
    data.setValue(selectedKey(), m_isSelectAll);
    return true;
}

void ExportLogViewModel::updateFileListView()
{
    rebuildRows({m_currentFolder, m_files->files(), {}});
}

bool ExportLogViewModel::setItemSelected(int index)
{
    bool isSelected = false;
    if (!isItemSelected(index, isSelected) || isSelected)
        return false;
    RowChange marked = {nullptr, m_selectedNumber + 1, m_selectedFileSize + fileSizeOfRow(index)};
    changeRows(marked, [this, index] { m_currentViewModel->setItemValue(index, selectedKey(), true); });
    return true;
}

bool ExportLogViewModel::setItemUnselected(int index)
{
    bool isSelected = false;
    if (!isItemSelected(index, isSelected) || !isSelected)
        return false;
    const qint64 size = fileSizeOfRow(index);
    RowChange unmarked
        = {nullptr, qMax(m_selectedNumber - 1, 0), size < m_selectedFileSize ? m_selectedFileSize - size : 0};
    changeRows(unmarked, [this, index] { m_currentViewModel->setItemValue(index, selectedKey(), false); });
    return true;
}

void ExportLogViewModel::onFileSystemDirectoryChanged(const QString &path)
{
    kDirectoryChanged.debug() << "FileSystemDirectoryChanged: " << path;
    if (path.startsWith(m_currentFolder))
        setCurrentFolder(m_currentFolder);
}

void ExportLogViewModel::onFileSystemFileChanged(const QString &path)
{
    kFileChanged.debug() << "FileSystemFileChanged: " << path;
    if (path.startsWith(m_currentFolder))
        setCurrentFolder(m_currentFolder);
}

// The watcher keeps watching the folder that it found first at the path, also when that folder was moved away or a
// volume was mounted on it. So a path that leads to another folder now is watched anew.
void ExportLogViewModel::watch(const QString &path)
{
    struct stat found = {};
    if (::stat(QFile::encodeName(path).constData(), &found) == 0) {
        const FolderIdentity identity(found.st_dev, found.st_ino);
        FolderIdentity &watched = m_watchedFolders[path];
        if (watched != identity)
            m_fileSystemWatcher.removePath(path);
        watched = identity;
    }
    m_fileSystemWatcher.addPath(path);
}

template <typename Change> void ExportLogViewModel::changeRows(RowChange &rowChange, Change change)
{
    if (m_rowChange)
        m_rowChange->isDisturbed = true;
    const QScopedValueRollback<RowChange *> rollback(m_rowChange, &rowChange);
    change();
    if (m_rowChange == &rowChange)
        finishRowChange(); // The host has blocked the list model's signals.
}

// The sequence: the list model announces that its rows are about to be removed, and slots still find the files of these
// rows. When the rows are gone, the new entries replace the former ones and the counters are 0. Then the new rows are
// set, and with them the entries that have a row and the counters of marked ones. A slot in between may list another
// folder.
void ExportLogViewModel::rebuildRows(const Listing &listing)
{
    RowChange emptied = {&listing, 0, 0};
    changeRows(emptied, [this] { m_currentViewModel->clear(); });

    CommonListItemData row(nullptr);
    CommonItemDataList rows;
    rows.reserve(listing.entries.size());
    Listing shown = listing;
    qint64 markedFileSize = 0;
    for (const QFileInfo &info : listing.entries) {
        row.setData({}); // shares nothing with its last copy, so that filling it does not copy that first
        if (!makeFileViewItemInfo(info, row)) {
            shown.entries.removeAt(rows.size());
            if (!shown.sizes.isEmpty())
                shown.sizes.removeAt(rows.size());
            continue;
        }
        if (m_isSelectAll) {
            const qint64 size = shown.sizes.value(rows.size(), -1);
            markedFileSize += size >= 0 ? size : info.size();
        }
        rows.append(row);
    }
    if (rows.isEmpty())
        return;
    RowChange filled = {&shown, m_isSelectAll ? static_cast<int>(rows.size()) : 0, markedFileSize};
    changeRows(filled, [this, &rows] { m_currentViewModel->setListData(rows); });
}

void ExportLogViewModel::markAll(bool isSelected)
{
    m_isSelectAll = isSelected;
    bool isChanged = false;
    for (int index = 0; index < m_currentViewModel->count(); ++index)
        isChanged = (isSelected ? setItemSelected(index) : setItemUnselected(index)) || isChanged;
    if (isChanged)
        Q_EMIT selectedNumberChangedSignal();
}

qint64 ExportLogViewModel::fileSizeOfRow(int index) const
{
    return m_files->sizeOfRow(index);
}

void ExportLogViewModel::followRowsAboutToBeReset()
{
    if (m_rowChange && m_rowChange->resetsUnderWay++ > 0)
        m_rowChange->isDisturbed = true;
}

void ExportLogViewModel::followRowsReset()
{
    if (!m_rowChange || --m_rowChange->resetsUnderWay > 0)
        onRowsEditedByHost();
    else
        finishRowChange();
}

void ExportLogViewModel::finishRowChange()
{
    // What follows within the same call is a change by the host.
    const RowChange *rowChange = std::exchange(m_rowChange, nullptr);
    if (rowChange->listing) {
        m_currentFolder = rowChange->listing->folder; // a slot may have listed another one meanwhile
        m_files->setFiles(rowChange->listing->entries, rowChange->listing->sizes);
    }
    m_selectedNumber = rowChange->selectedNumber;
    m_selectedFileSize = rowChange->selectedFileSize;
    if (rowChange->isDisturbed)
        onRowsEditedByHost();
}

void ExportLogViewModel::onRowsEditedByHost()
{
    if (m_rowChange)
        m_rowChange->isDisturbed = true;
    const RowReader rows(*m_currentViewModel);
    QStringList names;
    names.reserve(m_currentViewModel->count());
    for (int index = 0; index < m_currentViewModel->count(); ++index)
        names.append(rows.fileName(index));
    m_files->followRows(names);

    int number = 0;
    qint64 fileSize = 0;
    for (int index = 0; index < m_currentViewModel->count(); ++index) {
        if (rows.isSelected(index)) {
            ++number;
            fileSize += fileSizeOfRow(index);
        }
    }
    if (number == m_selectedNumber && fileSize == m_selectedFileSize)
        return;
    m_selectedNumber = number;
    m_selectedFileSize = fileSize;
    Q_EMIT selectedNumberChangedSignal();
}
