// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogTail.h"

#include <QDir>
#include <QFile>
#include <QMetaObject>
#include <QPointer>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr int kMostRows = 2000;
constexpr int kLongestText = 2000; // In UTF-16 units, as all lengths of shown texts.
constexpr int kLongestPlace = 200;
// Enough for the longest text in UTF-8 and what stands before it in a record.
constexpr std::size_t kLineBytes = 3 * kLongestText + 1024;

constexpr qint64 kFirstWindowBytes = 256LL * 1024;
constexpr qint64 kLastWindowBytes = 16LL * 1024 * 1024;
constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;
constexpr std::size_t kRememberedBytes = 256;

constexpr int kShortestIntervalMs = 100;
constexpr auto kLongestEnd = 500ms;

struct Label
{
    std::string_view text;
    LogTail::Level level;
};
constexpr Label kLabels[] = {{"Debug:> ", LogTail::Level::Debug},
                             {"Other:> ", LogTail::Level::Info},
                             {"Warning:> ", LogTail::Level::Warning},
                             {"Critical:> ", LogTail::Level::Critical},
                             {"Fatal:> ", LogTail::Level::Fatal}};

/** The parts of a record's first line. */
struct Head
{
    LogTail::Level level;
    std::string_view time;
    std::string_view place;
    std::string_view text;
};

// Leaves as many rows as may be shown. Returns how many were dropped.
template <typename Rows> int dropOldest(Rows &rows)
{
    const int excess = std::max(static_cast<int>(rows.size()) - kMostRows, 0);
    rows.erase(rows.begin(), rows.begin() + excess);
    return excess;
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isTime(std::string_view text)
{
    constexpr std::string_view pattern = "0000-00-00 00:00:00";
    return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(),
                      [](char c, char wanted) { return wanted == '0' ? isDigit(c) : c == wanted; });
}

// Splits "main.cpp 42: text", where the file's name may be missing and may hold blanks and colons.
void splitPlace(std::string_view line, Head &head)
{
    head.text = line;
    for (auto colon = line.find(':'); colon != line.npos; colon = line.find(':', colon + 1)) {
        auto number = colon;
        while (number > 0 && isDigit(line[number - 1]))
            --number;
        const bool endsHere = colon + 1 == line.size() || line[colon + 1] == ' ';
        if (number < colon && number > 0 && line[number - 1] == ' ' && endsHere) {
            head.place = number == 1 ? std::string_view() : line.substr(0, colon);
            head.text = line.substr(std::min(colon + 2, line.size()));
            return;
        }
    }
}

std::optional<Head> readHead(std::string_view line)
{
    if (line.size() < 24 || line.front() != '[' || line.substr(20, 3) != "] <" || !isTime(line.substr(1, 19)))
        return std::nullopt;
    const std::string_view rest = line.substr(23);
    for (const Label &label : kLabels) {
        if (rest.substr(0, label.text.size()) == label.text) {
            Head head = {label.level, line.substr(1, 19), {}, {}};
            splitPlace(rest.substr(label.text.size()), head);
            return head;
        }
    }
    return std::nullopt;
}

bool turnsDirection(QChar c)
{
    const ushort code = c.unicode();
    return code == 0x061c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e)
        || (code >= 0x2066 && code <= 0x2069);
}

bool isHarmless(QChar c)
{
    const QChar::Category category = c.category();
    return category != QChar::Other_Control && category != QChar::Separator_Line
        && category != QChar::Separator_Paragraph && !turnsDirection(c);
}

// Adds to `text` what can be shown of `bytes`, up to `longest` characters in all. Returns false if that isn't all.
bool addText(QString &text, std::string_view bytes, int longest)
{
    QString added = QString::fromUtf8(bytes.data(), static_cast<int>(std::min(bytes.size(), kLineBytes)));
    const bool isAll = bytes.size() <= kLineBytes && text.size() + added.size() <= longest;
    auto room = std::min(longest - text.size(), added.size());
    if (room > 0 && room < added.size() && added.at(room).isLowSurrogate())
        --room;
    added.truncate(room);
    for (QChar &c : added) {
        if (!isHarmless(c))
            c = c == QLatin1Char('\t') ? QLatin1Char(' ') : QChar(QChar::ReplacementCharacter);
    }
    text += added;
    text.squeeze();
    return isAll;
}

/** A regular file opened for reading, or why there is none. */
class OpenFile
{
public:
    explicit OpenFile(const QString &path)
    {
        const int error = open(QFile::encodeName(path));
        if (error == ENOENT || error == ENOTDIR)
            m_state = LogTail::State::Missing;
        else if (error != 0)
            m_state = LogTail::State::Unreadable;
    }
    ~OpenFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Q_DISABLE_COPY(OpenFile)

    LogTail::State state() const { return m_state; }
    qint64 size() const { return m_info.st_size; }
    /** Tells the file from any other that exists at the same time. */
    std::pair<dev_t, ino_t> identity() const { return {m_info.st_dev, m_info.st_ino}; }

    /** How many bytes were read, 0 at the file's end, -1 if it can't be read. */
    qint64 read(char *to, std::size_t size, qint64 offset) const
    {
        qint64 number = 0;
        do
            number = ::pread(m_fd, to, size, offset);
        while (number < 0 && errno == EINTR);
        return number;
    }

private:
    // Returns 0 or the error's number.
    int open(const QByteArray &name)
    {
        if (name.contains('\0'))
            return ENOENT;
        // Looked at before it is opened, since to open a device can start something.
        if (::stat(name.constData(), &m_info) != 0)
            return errno;
        if (!S_ISREG(m_info.st_mode))
            return EINVAL;
        m_fd = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (m_fd < 0 || ::fstat(m_fd, &m_info) != 0)
            return errno;
        return S_ISREG(m_info.st_mode) ? 0 : EINVAL;
    }

    LogTail::State m_state = LogTail::State::Ready;
    struct stat m_info = {};
    int m_fd = -1;
};

} // namespace

/** Makes rows of the bytes of a file, or of its end. */
class LogTail::Parser
{
public:
    /** Without `isWhole`, the bytes begin somewhere in the file, and what comes before the first record is dropped. */
    Parser(Level lowestLevel, bool isWhole)
        : m_lowestLevel(lowestLevel)
        , m_isInsideLine(!isWhole)
        , m_dropsFirstLines(!isWhole)
        , m_isComplete(isWhole)
    {
    }

    void feed(std::string_view bytes)
    {
        while (!bytes.empty()) {
            const auto end = bytes.find('\n');
            const std::string_view part = bytes.substr(0, end);
            if (end == bytes.npos || !m_line.empty()) {
                // One byte more than is used tells that there are more.
                m_line.append(part.substr(0, kLineBytes + 1 - m_line.size()));
                if (end == bytes.npos)
                    return;
                addLine(m_line);
                m_line.clear();
            } else {
                addLine(part);
            }
            bytes.remove_prefix(end + 1);
        }
    }

    bool isFull() const { return static_cast<int>(m_rows.size()) == kMostRows; }
    bool hasLevels() const { return m_hasLevels; }
    /** Whether no row was left out for want of room. */
    bool isComplete() const { return m_isComplete; }

    /**
     * The rows of all bytes since it was last called. The last `openNumber` of them can still change: the next call
     * returns them again.
     */
    Rows takeRows(int &openNumber)
    {
        m_isInsideLine = false;
        m_dropsFirstLines = false;
        Rows rows = std::exchange(m_rows, {});
        Parser atEnd(*this);
        if (!m_line.empty())
            atEnd.addLine(m_line);
        atEnd.closeRecord();
        openNumber = static_cast<int>(atEnd.m_rows.size());
        std::move(atEnd.m_rows.begin(), atEnd.m_rows.end(), std::back_inserter(rows));
        m_isComplete = dropOldest(rows) == 0 && m_isComplete;
        return rows;
    }

private:
    void addLine(std::string_view line)
    {
        if (std::exchange(m_isInsideLine, false))
            return;
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (const std::optional<Head> head = readHead(line))
            beginRecord(*head);
        else if (m_record)
            continueRecord(line);
        else if (!m_hasLevels && m_lowestLevel == Level::None)
            addRow(rowOf(line));
    }

    void beginRecord(const Head &head)
    {
        closeRecord();
        if (std::exchange(m_dropsFirstLines, false))
            m_rows.clear();
        m_hasLevels = true;
        if (head.level < m_lowestLevel)
            return;
        Row row = rowOf(head.text);
        row.level = head.level;
        row.time = QString::fromLatin1(head.time.data(), static_cast<int>(head.time.size()));
        addText(row.place, head.place, kLongestPlace);
        m_record = std::move(row);
    }

    // The empty lines after a record only part it from the next.
    void continueRecord(std::string_view line)
    {
        if (m_record->isCut)
            return;
        if (line.empty()) {
            ++m_emptyLines;
            return;
        }
        const qint64 breaks = std::exchange(m_emptyLines, 0) + 1;
        const qint64 room = kLongestText - m_record->text.size();
        m_record->text += QString(static_cast<int>(std::min(breaks, room)), QLatin1Char('\n'));
        if (!addText(m_record->text, line, kLongestText))
            m_record->isCut = true;
    }

    void closeRecord()
    {
        if (m_record)
            addRow(*std::exchange(m_record, std::nullopt));
        m_emptyLines = 0;
    }

    static Row rowOf(std::string_view text)
    {
        Row row;
        row.isCut = !addText(row.text, text, kLongestText);
        return row;
    }

    void addRow(Row row)
    {
        m_rows.push_back(std::move(row));
        if (dropOldest(m_rows) > 0)
            m_isComplete = false;
    }

    const Level m_lowestLevel;
    bool m_isInsideLine;
    bool m_dropsFirstLines;
    bool m_isComplete;
    bool m_hasLevels = false;
    std::string m_line;
    std::optional<Row> m_record;
    qint64 m_emptyLines = 0;
    Rows m_rows;
};

/** What a look at the file found. */
struct LogTail::Batch
{
    unsigned generation = 0;
    State state = State::Ready;
    bool replaces
        = false; // All rows there are. If not, `rows` follow them, after the last `retracted` were taken back.
    bool isComplete = true;
    bool hasLevels = false;
    int retracted = 0;
    Rows rows;

    void add(Batch &&next)
    {
        const int ownRetracted = std::min(next.retracted, static_cast<int>(rows.size()));
        rows.erase(rows.end() - ownRetracted, rows.end());
        retracted += next.retracted - ownRetracted;
        std::move(next.rows.begin(), next.rows.end(), std::back_inserter(rows));
        state = next.state;
        isComplete = dropOldest(rows) == 0 && isComplete && next.isComplete;
        hasLevels = hasLevels || next.hasLevels;
    }
};

/**
 * Reads the file on a thread of its own. The thread shares ownership of the object, so that it can be left alone when a
 * call to the operating system doesn't return.
 */
class LogTail::Reader
{
public:
    struct Request
    {
        QString path;
        Level lowestLevel = Level::None;
        bool isFollowing = false;
        int intervalMs = 0;
        unsigned generation = 0;
    };

    explicit Reader(LogTail *model)
        : m_model(model)
    {
    }
    Q_DISABLE_COPY(Reader)

    // For the model's thread.

    void ask(const std::shared_ptr<Reader> &self, const Request &request)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_request = request;
        m_isAsked = true;
        m_generation = request.generation;
        m_changed.notify_all();
        if (m_thread.joinable() || request.path.isEmpty())
            return;
        try {
            m_thread = std::thread([self] { self->run(); });
        } catch (const std::system_error &) { // The process may have no further thread; the next request tries again.
            Batch batch;
            batch.generation = request.generation;
            batch.state = State::Unreadable;
            batch.replaces = true;
            deliver(std::move(batch));
        }
    }

    std::optional<Batch> takeBatch()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_batch, std::nullopt);
    }

    /** Ends the thread. To be called last. */
    void end()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_model = nullptr;
        ++m_generation;
        m_changed.notify_all();
        if (!m_thread.joinable())
            return;
        const bool hasEnded = m_changed.wait_for(lock, kLongestEnd, [this] { return m_hasEnded; });
        lock.unlock();
        if (hasEnded)
            m_thread.join();
        else
            m_thread.detach();
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        Request request;
        while (m_model != nullptr) {
            const bool isOther = m_request.generation != request.generation;
            request = m_request;
            m_isAsked = false;
            const bool isWatching = request.isFollowing && !request.path.isEmpty();
            if (isWatching || (isOther && !request.path.isEmpty())) {
                lock.unlock();
                if (isOther)
                    m_parser.reset();
                look(request, isOther);
                lock.lock();
            }
            const auto hasChanged = [this] { return m_model == nullptr || m_isAsked; };
            if (isWatching)
                m_changed.wait_for(lock, std::chrono::milliseconds(request.intervalMs), hasChanged);
            else
                m_changed.wait(lock, hasChanged);
        }
        m_hasEnded = true;
        m_changed.notify_all();
    }

    void look(const Request &request, bool isFirstLook)
    {
        const OpenFile file(request.path);
        Batch batch;
        batch.generation = request.generation;
        batch.state = file.state();
        batch.replaces = isFirstLook;
        bool hasRead = false;
        if (file.state() == State::Ready) {
            const bool isOtherFile = !isContinuedBy(file);
            const qint64 formerEnd = m_end;
            const bool isRead = isOtherFile ? readEnd(file, request) : readOn(file, request);
            if (m_generation != request.generation)
                return;
            if (isRead) {
                hasRead = isOtherFile || m_end != formerEnd;
                batch.replaces = batch.replaces || isOtherFile;
            } else {
                m_parser.reset();
                batch.state = State::Unreadable;
            }
        }
        if (!batch.replaces && !hasRead && batch.state == m_state)
            return;
        m_state = batch.state;
        if (hasRead) {
            batch.retracted = batch.replaces ? 0 : m_openNumber;
            batch.rows = m_parser->takeRows(m_openNumber);
            batch.isComplete = m_parser->isComplete();
            batch.hasLevels = m_isLog || m_parser->hasLevels();
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        deliver(std::move(batch));
    }

    // Whether the file is the one that was read before, with nothing but new bytes after those that were read.
    bool isContinuedBy(const OpenFile &file) const
    {
        if (!m_parser || file.identity() != m_identity || file.size() < m_end || file.size() - m_end > kLastWindowBytes)
            return false;
        char bytes[kRememberedBytes];
        const auto size = static_cast<qint64>(m_lastBytes.size());
        return file.read(bytes, m_lastBytes.size(), m_end - size) == size
            && m_lastBytes == std::string_view(bytes, m_lastBytes.size());
    }

    static bool beginsWithRecord(const OpenFile &file)
    {
        char bytes[64];
        const qint64 size = file.read(bytes, sizeof bytes, 0);
        return size > 0 && readHead(std::string_view(bytes, static_cast<std::size_t>(size)));
    }

    // Reads more and more of the file's end until there are rows enough.
    bool readEnd(const OpenFile &file, const Request &request)
    {
        m_identity = file.identity();
        m_isLog = beginsWithRecord(file);
        for (qint64 window = kFirstWindowBytes;; window *= 4) {
            const bool isWhole = window >= file.size();
            m_parser.emplace(request.lowestLevel, isWhole);
            // From the byte before on, which may end a line.
            m_end = isWhole ? 0 : file.size() - window - 1;
            m_lastBytes.clear();
            if (!readOn(file, request))
                return false;
            // In a log, lines without a record before them are the rest of one that is longer than the window.
            const bool isEnough = m_parser->isFull() && (m_parser->hasLevels() || !m_isLog);
            if (isWhole || isEnough || window >= kLastWindowBytes)
                return true;
        }
    }

    // Reads up to the size that the file had when it was opened. Returns false if it can't be read, or need not be.
    bool readOn(const OpenFile &file, const Request &request)
    {
        while (m_end < file.size()) {
            const auto wanted = std::min<qint64>(static_cast<qint64>(kBlockBytes), file.size() - m_end);
            const qint64 size = file.read(m_block.data(), static_cast<std::size_t>(wanted), m_end);
            if (size < 0 || m_generation != request.generation)
                return false;
            if (size == 0)
                break;
            const std::string_view bytes(m_block.data(), static_cast<std::size_t>(size));
            m_parser->feed(bytes);
            m_end += size;
            m_lastBytes.append(bytes.substr(bytes.size() - std::min(bytes.size(), kRememberedBytes)));
            m_lastBytes.erase(0, m_lastBytes.size() - std::min(m_lastBytes.size(), kRememberedBytes));
        }
        return true;
    }

    // One call of the model waits at most: what is found before it is carried out is added to the batch. m_mutex is
    // locked.
    void deliver(Batch batch)
    {
        if (m_model == nullptr)
            return;
        if (!m_batch)
            QMetaObject::invokeMethod(m_model, "takeBatch", Qt::QueuedConnection);
        if (m_batch && m_batch->generation == batch.generation && !batch.replaces)
            m_batch->add(std::move(batch));
        else
            m_batch = std::move(batch);
    }

    std::atomic<unsigned> m_generation{0};
    std::thread m_thread;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    // protected by m_mutex:
    LogTail *m_model;
    Request m_request;
    bool m_isAsked = false;
    bool m_hasEnded = false;
    std::optional<Batch> m_batch;

    // The reading thread's own:
    State m_state = State::Empty;
    std::optional<Parser> m_parser;
    std::pair<dev_t, ino_t> m_identity;
    bool m_isLog = false;
    qint64 m_end = 0;
    std::string m_lastBytes;
    int m_openNumber = 0;
    std::vector<char> m_block = std::vector<char>(kBlockBytes);
};

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
