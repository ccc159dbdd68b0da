// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringView>
#include <QtGlobal>

enum class EntryKind : quint16 {
    Line,
    Request,
    Clear,
    Settled ///< Was one of the others; nothing is to be done any more.
};

struct QueuedEntry
{
    EntryKind kind = EntryKind::Line;
    unsigned long category = 0;
    QStringView text; ///< As it is to be written.
    bool isUrgent = false; ///< To be brought to storage at once.
};

/** Entries that lie together at the front of a queue; good until they are settled. */
class QueuedEntries
{
public:
    /** What is stored of an entry, beside its text. */
    struct Record
    {
        quint64 category;
        quint32 size; ///< UTF-16 units
        EntryKind kind;
        quint16 isUrgent; ///< Not a bool: a damaged file may hold any value.

        bool isLine() const { return kind == EntryKind::Line || kind == EntryKind::Request; }
    };

    QueuedEntries() = default;
    /** The texts follow each other upwards, the records downwards. */
    QueuedEntries(const ushort *text, const Record *records, int count);

    int count() const { return m_count; }
    QueuedEntry at(int index) const;
    /** The text of the first entries, which lies in one piece. */
    QStringView text(int entries) const;
    /** How many of the first entries are lines of one category that have `mostText` UTF-16 units at most together. */
    int lines(qint64 mostText) const;
    /** Whether one of the first entries is urgent. */
    bool isUrgent(int entries) const;
    void dropFirst(int entries);

private:
    const Record &record(int index) const { return *(m_records - index); }

    const ushort *m_text = nullptr;
    const Record *m_records = nullptr;
    int m_count = 0;
};
