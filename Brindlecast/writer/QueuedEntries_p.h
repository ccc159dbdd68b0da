// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringView>
#include <QtGlobal>

enum class EntryKind : quint16 {
    Line,
    Request,
    Clear,
    Settled ///< Was one of the others; nothing is left to do.
};

struct QueuedEntry
{
    EntryKind kind = EntryKind::Line;
    unsigned long category = 0;
    QStringView text; ///< As it is to be written.
    bool isUrgent = false; ///< To be brought to storage at once.
};

/** Entries in one chunk at the front of a queue; valid until they are removed. */
class QueuedEntries
{
public:
    /** What is stored of an entry besides its text. */
    struct Record
    {
        quint64 category;
        quint32 size; ///< UTF-16 units
        EntryKind kind;
        quint16 isUrgent; ///< Not a bool: a damaged file may hold any value.

        bool isLine() const { return kind == EntryKind::Line || kind == EntryKind::Request; }
    };

    QueuedEntries() = default;
    /** The first text and the first record. Further texts lie at rising addresses, further records at falling ones. */
    QueuedEntries(const ushort *text, const Record *records, int count);

    int count() const { return m_count; }
    QueuedEntry at(int index) const;
    /** The text of the first entries, which lies in one piece. */
    QStringView text(int entries) const;
    /** How many of the first entries are lines of one category with at most `mostText` UTF-16 units in all. */
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
