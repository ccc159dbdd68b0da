// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QAbstractListModel>
#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>

#include <deque>
#include <memory>

/**
 * The end of a log file as a list for QML: its newest records, oldest first, kept up to date while the file grows.
 *
 * A row is a record of the logger, "[2026-11-16 18:00:05] <Warning:> main.cpp 42: text", with all further lines up to
 * the next record. Lines before the first record are rows of their own, and so is every line of a file that another
 * program wrote.
 *
 * Limits, so that neither the file nor a line of it can be too large:
 *  - at most 2,000 rows; each new one removes the oldest;
 *  - only the last 16 MiB of the file are searched for rows, so that with a high lowestLevel() there may be fewer;
 *  - at most 2,000 characters of a text and 200 of a place; "…" follows a text that was cut.
 * The rows take 8 MB at most, 0.5 MB with lines of the usual length, and for a moment twice as much.
 *
 * Texts are safe to show as plain text. Bytes that are not UTF-8, control characters and the marks that change the
 * direction of writing are replaced by U+FFFD, a tab by a blank.
 *
 * A thread of its own reads the file, every half second (interval()); no call but the destructor waits for it. At each
 * look, new rows are inserted at the end and old ones removed from the front, each in one step, so that a view keeps
 * its position. The model is reset when another path or level is set, and when the file was replaced, truncated or
 * written anew, or grew by more than 16 MiB since the last look. The file is closed between two looks.
 *
 * Lives on one thread, usually the user interface's; all signals are sent there. Any slot may delete the model or
 * change it, except those of rowsAboutToBeInserted() and rowsAboutToBeRemoved(), where no model of Qt allows it. The
 * destructor waits for the reading thread for half a second at most; one that a dead medium blocks ends by itself
 * later.
 */
class LogTail : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString path READ path WRITE setPath NOTIFY pathChanged)
    Q_PROPERTY(Level lowestLevel READ lowestLevel WRITE setLowestLevel NOTIFY lowestLevelChanged)
    Q_PROPERTY(bool following READ isFollowing WRITE setFollowing NOTIFY followingChanged)
    Q_PROPERTY(int interval READ interval WRITE setInterval NOTIFY intervalChanged)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(bool atStart READ isAtStart NOTIFY stateChanged)
    Q_PROPERTY(bool hasLevels READ hasLevels NOTIFY stateChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    /** The severity of a record, in rising order. */
    enum class Level {
        None, ///< a line that is not a record of the logger
        Debug,
        Info, ///< "Other:" in the file
        Warning,
        Critical,
        Fatal
    };
    Q_ENUM(Level)

    enum class State {
        Empty, ///< no path is set
        Loading, ///< path or level were set, and the file has not been read yet; lasts while its medium doesn't answer
        Ready, ///< the rows are those of the file; there are none if it is empty or no record has the lowest level
        Missing, ///< there is no file at the path
        Unreadable ///< it can't be read, or is a folder, FIFO or device, which is never opened; also while the system
                   ///< has no thread left to read it
    };
    Q_ENUM(State)

    /** The roles; QML knows them by the names in quotation marks. */
    enum Role {
        TextRole = Qt::UserRole, ///< "text": the message, with line breaks
        LineRole, ///< "line": the message with a blank for each line break, for a view with one line a row
        LevelRole, ///< "level": a Level as an int, to compare with LogTail.Warning and so on
        TimeRole, ///< "time": "2026-11-16 18:00:05" as in the file, the device's local time; empty for Level::None
        PlaceRole, ///< "place": "main.cpp 42"; empty for Level::None and for records without a source file
        CutRole ///< "cut": whether the text was longer
    };
    Q_ENUM(Role)

    explicit LogTail(QObject *parent = nullptr);
    ~LogTail() override;

    /** The file to show. Links are followed; a relative path starts at the directory current when it is set. */
    QString path() const { return m_path; }
    /** Removes all rows and starts to read the file at `path`. With an empty path there is nothing to show. */
    void setPath(const QString &path);

    /** Rows below this level are left out. Level::None, the default, shows all. */
    Level lowestLevel() const { return m_lowestLevel; }
    /** Reads the file again, at most 16 MiB of it. The rows stay until the new ones take their place. */
    void setLowestLevel(Level level);

    /** Whether the rows follow the file; true by default. A newly set path is read once in any case. */
    bool isFollowing() const { return m_isFollowing; }
    /** When switched on again, adds what the file has gained meanwhile. */
    void setFollowing(bool following);

    /** How long the reading thread waits between two looks at the file, in milliseconds: 100 at least, 500 by default.
     */
    int interval() const { return m_interval; }
    void setInterval(int milliseconds);

    /**
     * What the last look found. A file that can't be found or read any more leaves its rows in place; they are
     * replaced when there is a file again.
     */
    State state() const { return m_state; }
    /** Whether the rows begin with the file's first record of lowestLevel() or above: no older ones were left out. */
    bool isAtStart() const { return m_isAtStart; }
    /** Whether a record of the logger was found. Without one there is no point in offering lowestLevel. */
    bool hasLevels() const { return m_hasLevels; }

    /** The number of rows, 0 to 2,000. */
    int count() const { return static_cast<int>(m_rows.size()); }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void pathChanged();
    void lowestLevelChanged();
    void followingChanged();
    void intervalChanged();
    void stateChanged();
    void countChanged();

private:
    class Parser;
    class Reader;
    struct Batch;

    struct Row
    {
        Level level = Level::None;
        bool isCut = false;
        QString time;
        QString place;
        QString text;

        bool operator==(const Row &other) const
        {
            return level == other.level && isCut == other.isCut && time == other.time && place == other.place
                && text == other.text;
        }
    };
    using Rows = std::deque<Row>;

    static constexpr int kMostRows = 2000;
    /** Removes the oldest rows beyond kMostRows. Returns how many they were. */
    static int dropOldest(Rows &rows);

    void askReader();
    Q_INVOKABLE void takeBatch();
    void replaceRows(Rows rows);
    void addRows(Rows rows, int retracted);
    void removeFrom(int row, int number);

    QString m_path;
    QString m_absolutePath;
    Level m_lowestLevel = Level::None;
    bool m_isFollowing = true;
    int m_interval = 500;
    State m_state = State::Empty;
    bool m_isAtStart = true;
    bool m_hasLevels = false;
    Rows m_rows;

    // Rises whenever a path or level is set, so that what was read for a former one is recognised and ignored.
    unsigned m_generation = 0;
    std::shared_ptr<Reader> m_reader;
};
