// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogFiles.h"

#include "SizeText.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QSet>

#include <algorithm>

namespace {

// The roles of ExportLogViewModel's list, in the order in which its constructor names them.
constexpr int kFileNameRole = Qt::UserRole + 1;
constexpr int kSelectedRole = Qt::UserRole + 2;

} // namespace

LogFiles::LogFiles(ExportLogViewModel &logs, QObject *parent)
    : QAbstractListModel(parent)
    , m_logs(logs)
    , m_list(logs.fileListViewModel())
{
    m_updateTimer.setSingleShot(true);
    connect(&m_updateTimer, &QTimer::timeout, this, &LogFiles::update);
    connect(m_list.data(), &QAbstractItemModel::modelReset, this, &LogFiles::updateLater);
}

void LogFiles::updateLater()
{
    m_isStale = true;
    m_updateTimer.start();
}

void LogFiles::update()
{
    if (!m_isStale)
        return;
    m_isStale = false;

    const int countBefore = count();
    const Rows wanted = readRows();
    const bool sameFiles = std::equal(m_rows.cbegin(), m_rows.cend(), wanted.cbegin(), wanted.cend(),
                                      [](const Row &row, const Row &other) { return row.name == other.name; });
    if (!sameFiles) {
        removeMissing(wanted);
        if (!insertNew(wanted)) {
            beginResetModel();
            m_rows = wanted;
            endResetModel();
        }
    }
    updateMarks(wanted);
    if (m_areDetailsStale && !m_rows.isEmpty())
        Q_EMIT dataChanged(index(0), index(count() - 1), {SizeRole, DateRole});
    m_areDetailsStale = false;
    if (count() != countBefore)
        Q_EMIT countChanged();
}

void LogFiles::updateMark(int row)
{
    if (!m_isStale) // A slot has called update() meanwhile.
        return;
    m_isStale = false;
    m_rows[row].isMarked = m_list->data(m_list->index(row), kSelectedRole).toBool();
    Q_EMIT dataChanged(index(row), index(row), {MarkedRole});
}

void LogFiles::forgetDetails()
{
    m_details.clear();
    m_areDetailsStale = true;
}

bool LogFiles::hasGrown() const
{
    const QStringList names = m_details.keys();
    return std::any_of(names.cbegin(), names.cend(),
                       [this](const QString &name) { return fileOf(name).size() != m_details.object(name)->bytes; });
}

int LogFiles::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant LogFiles::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows.at(index.row());
    switch (role) {
    case NameRole:
    case Qt::DisplayRole:
        return row.name;
    case MarkedRole:
        return row.isMarked;
    case SizeRole:
        return details(row.name).size;
    case DateRole:
        return details(row.name).date;
    default:
        return {};
    }
}

QHash<int, QByteArray> LogFiles::roleNames() const
{
    return {{NameRole, "name"}, {MarkedRole, "marked"}, {SizeRole, "size"}, {DateRole, "date"}};
}

LogFiles::Rows LogFiles::readRows() const
{
    Rows rows;
    rows.reserve(m_list->count());
    for (int row = 0; row < m_list->count(); ++row) {
        const QModelIndex index = m_list->index(row);
        rows.append({m_list->data(index, kFileNameRole).toString(), m_list->data(index, kSelectedRole).toBool()});
    }
    return rows;
}

QFileInfo LogFiles::fileOf(const QString &name) const
{
    return QFileInfo(QDir(m_logs.currentFolderPath()), name);
}

const LogFiles::Details &LogFiles::details(const QString &name) const
{
    if (const Details *known = m_details.object(name))
        return *known;
    const QFileInfo file = fileOf(name);
    //: Date and time of a log, as Qt formats them: see QDateTime::toString().
    const QString date = QLocale().toString(file.lastModified(), tr("d MMM yyyy, HH:mm"));
    auto *const read = new Details{file.size(), sizeText(file.size()), date};
    m_details.insert(name, read);
    return *read;
}

void LogFiles::removeMissing(const Rows &wanted)
{
    QSet<QString> names;
    names.reserve(wanted.size());
    for (const Row &row : wanted)
        names.insert(row.name);

    int end = count();
    while (end > 0) {
        if (names.contains(m_rows.at(end - 1).name)) {
            --end;
            continue;
        }
        int begin = end - 1;
        while (begin > 0 && !names.contains(m_rows.at(begin - 1).name))
            --begin;
        beginRemoveRows({}, begin, end - 1);
        m_rows.remove(begin, end - begin);
        endRemoveRows();
        end = begin;
    }
}

/** Returns false, with the rows incomplete, when the order of those that stayed has changed. */
bool LogFiles::insertNew(const Rows &wanted)
{
    QSet<QString> names;
    names.reserve(count());
    for (const Row &row : qAsConst(m_rows))
        names.insert(row.name);

    for (int row = 0; row < wanted.size();) {
        if (row < count() && m_rows.at(row).name == wanted.at(row).name) {
            ++row;
            continue;
        }
        int end = row;
        while (end < wanted.size() && !names.contains(wanted.at(end).name))
            ++end;
        if (end == row)
            return false;
        beginInsertRows({}, row, end - 1);
        m_rows = m_rows.mid(0, row) + wanted.mid(row, end - row) + m_rows.mid(row);
        endInsertRows();
        row = end;
    }
    return count() == wanted.size();
}

void LogFiles::updateMarks(const Rows &wanted)
{
    for (int row = 0; row < count();) {
        int end = row;
        for (; end < count() && m_rows.at(end).isMarked != wanted.at(end).isMarked; ++end)
            m_rows[end].isMarked = wanted.at(end).isMarked;
        if (end > row)
            Q_EMIT dataChanged(index(row), index(end - 1), {MarkedRole});
        row = end + 1;
    }
}
