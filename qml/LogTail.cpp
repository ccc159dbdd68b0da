// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogTail.h"

class LogTail::Reader
{
};

LogTail::LogTail(QObject *parent)
    : QAbstractListModel(parent)
{
}

LogTail::~LogTail() = default;

void LogTail::setPath(const QString &path)
{
    if (path == m_path)
        return;
    m_path = path;
    Q_EMIT pathChanged();
}

void LogTail::setLowestLevel(Level level)
{
    if (level == m_lowestLevel)
        return;
    m_lowestLevel = level;
    Q_EMIT lowestLevelChanged();
}

void LogTail::setFollowing(bool following)
{
    if (following == m_isFollowing)
        return;
    m_isFollowing = following;
    Q_EMIT followingChanged();
}

int LogTail::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant LogTail::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case TextRole:
    case Qt::DisplayRole:
        return row.isCut ? row.text + QChar(0x2026) : row.text;
    case LineRole:
        return data(index, TextRole).toString().replace(QLatin1Char('\n'), QLatin1Char(' '));
    case LevelRole:
        return static_cast<int>(row.level);
    case TimeRole:
        return row.time;
    case PlaceRole:
        return row.place;
    case CutRole:
        return row.isCut;
    default:
        return {};
    }
}

QHash<int, QByteArray> LogTail::roleNames() const
{
    return {{TextRole, "text"}, {LineRole, "line"},   {LevelRole, "level"},
            {TimeRole, "time"}, {PlaceRole, "place"}, {CutRole, "cut"}};
}
