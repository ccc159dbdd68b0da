// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QFileInfo>
#include <QFileInfoList>
#include <QString>
#include <QStringList>
#include <QVector>

/** The files of a listing, each beside the row that shows it, while a host changes the rows. */
class ListedFiles
{
public:
    /** Begins anew: row i shows file i, under the file's name. A size that is missing or -1 is read when needed. */
    void setFiles(const QFileInfoList &files, const QVector<qint64> &sizes);

    /** The file of a row, or an empty one for a row of none. */
    QFileInfo fileOfRow(int row) const;

    /** The size of the row's file, which stays as it was when it was read first; 0 for a row of none. */
    qint64 sizeOfRow(int row) const;

    /** All files, those of rows first. */
    QFileInfoList files() const;

    /**
     * Takes note of the names that the rows have now. A row's file follows the row's name, also when the row comes back
     * after it was removed. Where nothing but the name of one row has changed, that row keeps its file.
     */
    void followRows(const QStringList &names);

private:
    struct Shown
    {
        QString name; // the row's, which a host may have changed
        QFileInfo file;
        qint64 size = -1; // by the listing; -1 when the order did not read it
    };

    bool isKnown(const QString &name) const;

    QVector<Shown> m_shown; // by row, then the files that have no row now
    int m_rowCount = 0;
};
