// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "LogTail.h"

#include <QtGlobal>

#include <optional>
#include <string>
#include <string_view>

/** Makes rows of the bytes of a file, or of its end. */
class LogTail::Parser
{
public:
    /** Whether `line` begins a record of the logger. */
    static bool isRecord(std::string_view line);

    /** Unless `isWhole`, the bytes begin somewhere in the file, and those before the first record are dropped. */
    Parser(Level lowestLevel, bool isWhole);

    void feed(std::string_view bytes);

    bool isFull() const { return static_cast<int>(m_rows.size()) == kMostRows; }
    bool hasLevels() const { return m_hasLevels; }
    /** Whether the rows begin with the file's first: none was dropped to stay within kMostRows. */
    bool isComplete() const { return m_isComplete; }

    /**
     * The rows of all bytes since it was last called. The last `openNumber` of them can still change: the next call
     * returns them again.
     */
    Rows takeRows(int &openNumber);

private:
    struct Head;

    static std::optional<Head> readHead(std::string_view line);
    static Row rowOf(std::string_view text);
    void addLine(std::string_view line);
    void beginRecord(const Head &head);
    void continueRecord(std::string_view line);
    void closeRecord();
    void addRow(Row row);

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
