// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ListedFiles_p.h"

#include <QHash>

#include <algorithm>

void ListedFiles::setFiles(const QFileInfoList &files)
{
    m_withoutRow.clear();
    m_rows.clear();
    m_rows.reserve(files.size());
    for (const QFileInfo &file : files)
        m_rows.append({file.fileName(), file});
}

QFileInfo ListedFiles::fileOfRow(int row) const
{
    return m_rows.value(row).file;
}

QFileInfoList ListedFiles::files() const
{
    QFileInfoList all;
    for (const QVector<Shown> &part : {m_rows, m_withoutRow}) {
        for (const Shown &shown : part) {
            if (!shown.file.filePath().isEmpty())
                all.append(shown.file);
        }
    }
    return all;
}

void ListedFiles::followRows(const QStringList &names)
{
    if (names.size() == m_rows.size()) {
        int changes = 0;
        int changedRow = 0;
        for (int row = 0; row < names.size() && changes < 2; ++row) {
            if (m_rows.at(row).name != names.at(row)) {
                ++changes;
                changedRow = row;
            }
        }
        if (changes == 0)
            return;
        if (changes == 1 && !isKnown(names.at(changedRow))) {
            m_rows[changedRow].name = names.at(changedRow);
            return;
        }
    }

    const QVector<Shown> former = m_rows + m_withoutRow;
    QHash<QString, QFileInfo> unclaimed;
    for (const Shown &shown : former) {
        if (!shown.file.filePath().isEmpty())
            unclaimed.insert(shown.name, shown.file);
    }
    m_rows.clear();
    m_rows.reserve(names.size());
    for (const QString &name : names)
        m_rows.append({name, unclaimed.take(name)});
    m_withoutRow.clear();
    for (const Shown &shown : former) {
        if (unclaimed.contains(shown.name))
            m_withoutRow.append({shown.name, unclaimed.take(shown.name)});
    }
}

bool ListedFiles::isKnown(const QString &name) const
{
    const auto isNamed = [&name](const Shown &shown) { return shown.name == name; };
    return std::any_of(m_rows.cbegin(), m_rows.cend(), isNamed)
        || std::any_of(m_withoutRow.cbegin(), m_withoutRow.cend(), isNamed);
}
