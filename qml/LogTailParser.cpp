// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogTailParser.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr int kLongestText = 2000; // In UTF-16 units, as all lengths of shown texts.
constexpr int kLongestPlace = 200;
// Enough for the longest text in UTF-8 and what stands before it in a record.
constexpr std::size_t kLineBytes = 3 * kLongestText + 1024;

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

// Splits "main.cpp 42: text" in two, where the file's name may be missing and may hold blanks and colons.
std::pair<std::string_view, std::string_view> splitPlace(std::string_view line)
{
    for (auto colon = line.find(':'); colon != line.npos; colon = line.find(':', colon + 1)) {
        auto number = colon;
        while (number > 0 && isDigit(line[number - 1]))
            --number;
        const bool endsHere = colon + 1 == line.size() || line[colon + 1] == ' ';
        if (number < colon && number > 0 && line[number - 1] == ' ' && endsHere)
            return {line.substr(0, number == 1 ? 0 : colon), line.substr(std::min(colon + 2, line.size()))};
    }
    return {{}, line};
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

} // namespace

/** The parts of a record's first line. */
struct LogTail::Parser::Head
{
    Level level;
    std::string_view time;
    std::string_view place;
    std::string_view text;
};

bool LogTail::Parser::isRecord(std::string_view line)
{
    return readHead(line).has_value();
}

LogTail::Parser::Parser(Level lowestLevel, bool isWhole)
    : m_lowestLevel(lowestLevel)
    , m_isInsideLine(!isWhole)
    , m_dropsFirstLines(!isWhole)
    , m_isComplete(isWhole)
{
}

void LogTail::Parser::feed(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto end = bytes.find('\n');
        const std::string_view part = bytes.substr(0, end);
        if (end == bytes.npos || !m_line.empty()) {
            // One byte more than is used shows that the line was cut.
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

LogTail::Rows LogTail::Parser::takeRows(int &openNumber)
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

void LogTail::Parser::addLine(std::string_view line)
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

std::optional<LogTail::Parser::Head> LogTail::Parser::readHead(std::string_view line)
{
    if (line.size() < 24 || line.front() != '[' || line.substr(20, 3) != "] <" || !isTime(line.substr(1, 19)))
        return std::nullopt;
    const std::string_view rest = line.substr(23);
    for (const Label &label : kLabels) {
        if (rest.substr(0, label.text.size()) == label.text) {
            const auto [place, text] = splitPlace(rest.substr(label.text.size()));
            return Head{label.level, line.substr(1, 19), place, text};
        }
    }
    return std::nullopt;
}

void LogTail::Parser::beginRecord(const Head &head)
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

// Empty lines count only when text follows: those at the end separate the record from the next one.
void LogTail::Parser::continueRecord(std::string_view line)
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

void LogTail::Parser::closeRecord()
{
    if (m_record)
        addRow(*std::exchange(m_record, std::nullopt));
    m_emptyLines = 0;
}

LogTail::Row LogTail::Parser::rowOf(std::string_view text)
{
    Row row;
    row.isCut = !addText(row.text, text, kLongestText);
    return row;
}

void LogTail::Parser::addRow(Row row)
{
    m_rows.push_back(std::move(row));
    if (dropOldest(m_rows) > 0)
        m_isComplete = false;
}
