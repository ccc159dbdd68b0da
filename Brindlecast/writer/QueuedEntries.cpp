// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "QueuedEntries_p.h"

QueuedEntries::QueuedEntries(const ushort *text, const Record *records, int count)
    : m_text(text)
    , m_records(records)
    , m_count(count)
{
}

QueuedEntry QueuedEntries::at(int index) const
{
    const Record &found = record(index);
    return {found.kind,
            static_cast<unsigned long>(found.category),
            {m_text + text(index).size(), qsizetype(found.size)},
            found.isUrgent != 0};
}

QStringView QueuedEntries::text(int entries) const
{
    qsizetype size = 0;
    for (int i = 0; i < entries; ++i)
        size += qsizetype(record(i).size);
    return {m_text, size};
}

int QueuedEntries::lines(qint64 mostText) const
{
    int lines = 0;
    for (qint64 size = 0; lines < m_count; ++lines) {
        const Record &next = record(lines);
        size += next.size;
        if (next.kind != EntryKind::Line || next.category != record(0).category || size > mostText)
            break;
    }
    return lines;
}

bool QueuedEntries::isUrgent(int entries) const
{
    for (int i = 0; i < entries; ++i) {
        if (record(i).isUrgent != 0)
            return true;
    }
    return false;
}

void QueuedEntries::dropFirst(int entries)
{
    m_text += text(entries).size();
    m_records -= entries;
    m_count -= entries;
}
