// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogTail.h"

#include "LogTailReader.h"

#include <QDir>
#include <QPointer>

#include <algorithm>
#include <iterator>
#include <optional>
#include <tuple>
#include <utility>

namespace {

constexpr int kShortestIntervalMs = 100;

} // namespace

LogTail::LogTail(QObject *parent)
    : QAbstractListModel(parent)
    , m_reader(std::make_shared<Reader>(this))
{
}

LogTail::~LogTail()
{
    m_reader->end();
}

void LogTail::setPath(const QString &path)
{
    if (path == m_path)
        return;
    m_path = path;
    m_absolutePath = path.isEmpty() ? QString() : QDir::current().absoluteFilePath(path);
    m_state = path.isEmpty() ? State::Empty : State::Loading;
    m_isAtStart = true;
    m_hasLevels = false;
    ++m_generation;
    askReader();

    const QPointer<LogTail> self(this);
    if (!m_rows.empty())
        replaceRows({});
    if (self)
        Q_EMIT stateChanged();
    if (self)
        Q_EMIT pathChanged();
}

void LogTail::setLowestLevel(Level level)
{
    if (level == m_lowestLevel)
        return;
    m_lowestLevel = level;
    ++m_generation;
    askReader();
    const QPointer<LogTail> self(this);
    if (!m_path.isEmpty()) {
        m_state = State::Loading;
        Q_EMIT stateChanged();
    }
    if (self)
        Q_EMIT lowestLevelChanged();
}

void LogTail::setFollowing(bool following)
{
    if (following == m_isFollowing)
        return;
    m_isFollowing = following;
    askReader();
    Q_EMIT followingChanged();
}

void LogTail::setInterval(int milliseconds)
{
    const int interval = std::max(milliseconds, kShortestIntervalMs);
    if (interval == m_interval)
        return;
    m_interval = interval;
    askReader();
    Q_EMIT intervalChanged();
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

int LogTail::dropOldest(Rows &rows)
{
    const int excess = std::max(static_cast<int>(rows.size()) - kMostRows, 0);
    rows.erase(rows.begin(), rows.begin() + excess);
    return excess;
}

void LogTail::askReader()
{
    m_reader->ask(m_reader, {m_absolutePath, m_lowestLevel, m_isFollowing, m_interval, m_generation});
}

void LogTail::takeBatch()
{
    std::optional<Batch> batch = m_reader->takeBatch();
    if (!batch || batch->generation != m_generation)
        return;
    const QPointer<LogTail> self(this);
    const auto properties = [this] { return std::make_tuple(m_state, m_isAtStart, m_hasLevels); };
    const auto formerProperties = properties();
    m_state = batch->state;
    m_isAtStart = batch->isComplete && (batch->replaces || m_isAtStart);
    m_hasLevels = batch->hasLevels || (!batch->replaces && m_hasLevels);
    if (batch->replaces)
        replaceRows(std::move(batch->rows));
    else
        addRows(std::move(batch->rows), batch->retracted);
    if (self && properties() != formerProperties)
        Q_EMIT stateChanged();
}

void LogTail::replaceRows(Rows rows)
{
    const int formerCount = count();
    const unsigned generation = m_generation;
    const QPointer<LogTail> self(this);
    beginResetModel();
    if (!self)
        return;
    if (m_generation == generation) // else they are those of another path
        m_rows = std::move(rows);
    endResetModel();
    if (self && count() != formerCount)
        Q_EMIT countChanged();
}

void LogTail::addRows(Rows rows, int retracted)
{
    const QPointer<LogTail> self(this);
    const unsigned generation = m_generation;
    // Any signal may have deleted the model, or set another path.
    const auto isOver = [&self, this, generation] { return !self || m_generation != generation; };
    const int formerCount = count();
    const auto takeFront = [&rows](int number) { rows.erase(rows.begin(), rows.begin() + number); };

    int row = count() - std::min(retracted, count());
    for (; row < count() && !rows.empty(); ++row) {
        Row &shown = m_rows[static_cast<std::size_t>(row)];
        const bool isSame = shown == rows.front();
        shown = rows.front();
        takeFront(1);
        if (!isSame)
            Q_EMIT dataChanged(index(row), index(row));
        if (isOver())
            return;
    }
    if (row < count()) {
        removeFrom(row, count() - row);
        if (isOver())
            return;
    }

    const int excess = count() + static_cast<int>(rows.size()) - kMostRows;
    const int oldest = std::clamp(excess, 0, count());
    takeFront(std::max(excess - oldest, 0));
    if (oldest > 0) {
        m_isAtStart = false;
        removeFrom(0, oldest);
        if (isOver())
            return;
    }
    if (!rows.empty()) {
        beginInsertRows({}, count(), count() + static_cast<int>(rows.size()) - 1);
        std::move(rows.begin(), rows.end(), std::back_inserter(m_rows));
        endInsertRows();
    }
    if (!isOver() && count() != formerCount)
        Q_EMIT countChanged();
}

void LogTail::removeFrom(int row, int number)
{
    beginRemoveRows({}, row, row + number - 1);
    m_rows.erase(m_rows.begin() + row, m_rows.begin() + row + number);
    endRemoveRows();
}
