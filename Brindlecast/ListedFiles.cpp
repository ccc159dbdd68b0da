// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ListedFiles_p.h"

#include <QHash>

#include <algorithm>

void ListedFiles::setFiles(const QFileInfoList &files, const QVector<qint64> &sizes)
{
    m_shown.clear();
    m_shown.reserve(files.size());
    for (const QFileInfo &file : files)
        m_shown.append({file.fileName(), file, sizes.value(m_shown.size(), -1)});
    m_rowCount = static_cast<int>(files.size());
}

QFileInfo ListedFiles::fileOfRow(int row) const
{
    return row < m_rowCount ? m_shown.value(row).file : QFileInfo();
}

qint64 ListedFiles::sizeOfRow(int row) const
{
    if (row >= m_rowCount)
        return 0;
    const Shown &shown = m_shown.at(row);
    return shown.size >= 0 ? shown.size : shown.file.size(); // QFileInfo reads it once, for all its copies.
}

QFileInfoList ListedFiles::files() const
{
    QFileInfoList all;
    for (const Shown &shown : m_shown) {
        if (!shown.file.filePath().isEmpty())
            all.append(shown.file);
    }
    return all;
}

void ListedFiles::followRows(const QStringList &names)
{
    if (names.size() == m_rowCount) {
        int changes = 0;
        int changedRow = 0;
        for (int row = 0; row < m_rowCount && changes < 2; ++row) {
            if (m_shown.at(row).name != names.at(row)) {
                ++changes;
                changedRow = row;
            }
        }
        if (changes == 0)
            return;
        if (changes == 1 && !isKnown(names.at(changedRow))) {
            m_shown[changedRow].name = names.at(changedRow);
            return;
        }
    }

    QHash<QString, Shown> unclaimed;
    for (const Shown &shown : qAsConst(m_shown)) {
        if (!shown.file.filePath().isEmpty())
            unclaimed.insert(shown.name, shown);
    }
    const QVector<Shown> former = m_shown;
    m_shown.clear();
    m_shown.reserve(former.size());
    for (const QString &name : names) {
        m_shown.append(unclaimed.take(name));
        m_shown.last().name = name;
    }
    m_rowCount = static_cast<int>(names.size());
    for (const Shown &shown : former) {
        if (unclaimed.contains(shown.name))
            m_shown.append(unclaimed.take(shown.name));
    }
}

bool ListedFiles::isKnown(const QString &name) const
{
    return std::any_of(m_shown.cbegin(), m_shown.cend(), [&name](const Shown &shown) { return shown.name == name; });
}
