// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/ExportLogViewModel.h>

#include <QAbstractListModel>
#include <QByteArray>
#include <QCache>
#include <QHash>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QVector>
#include <qqml.h>

/**
 * The listed logs as rows for a view.
 *
 * Every change resets the list of an ExportLogViewModel, even that of a single mark, so a view of it would lose its
 * position and its current row. This model compares the rows before and after, and signals only the differences.
 *
 * Lives on the user-interface thread. QML gets it from the property "files" of a LogExport.
 */
class LogFiles : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("LogFiles are the property \"files\" of a LogExport.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    /** The roles; QML knows them by the names in quotation marks. */
    enum Role {
        NameRole = Qt::UserRole, ///< "name": the file's name without its folder
        MarkedRole, ///< "marked": whether it will be exported
        SizeRole, ///< "size": such as "1.3 MB", in the form of the locale
        DateRole ///< "date": the time of its last change, in the form of the language
    };

    /** Follows the rows of `logs`, which must outlive this object. */
    explicit LogFiles(ExportLogViewModel &logs, QObject *parent = nullptr);

    /** The number of rows. */
    int count() const { return static_cast<int>(m_rows.size()); }
    /** Returns the file name of a row from 0 to count() - 1, and an empty text for any other. */
    Q_INVOKABLE QString nameAt(int row) const { return m_rows.value(row).name; }
    /** Returns the mark of a row from 0 to count() - 1, and false for any other. */
    Q_INVOKABLE bool isMarkedAt(int row) const { return m_rows.value(row).isMarked; }

    /** Brings the rows up to date at once. Otherwise that is done when control returns to the event loop. */
    void update();
    /** Does the same when only the mark of `row` can have changed since the last update. */
    void updateMark(int row);
    /** Makes the next update read sizes and dates again. */
    void forgetDetails();
    /** Whether the size of a log that was shown lately has changed. */
    bool hasGrown() const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    struct Row
    {
        QString name;
        bool isMarked = false;
    };
    struct Details
    {
        qint64 bytes;
        QString size;
        QString date;
    };
    using Rows = QVector<Row>;

    Rows readRows() const;
    QFileInfo fileOf(const QString &name) const;
    const Details &details(const QString &name) const;
    void updateLater();
    void removeMissing(const Rows &wanted);
    bool insertNew(const Rows &wanted);
    void updateMarks(const Rows &wanted);

    ExportLogViewModel &m_logs;
    CommonListViewModelPointer m_list;
    Rows m_rows;
    bool m_isStale = false;
    QTimer m_updateTimer;
    bool m_areDetailsStale = false;
    // A screenful and more; the rest is read again when it comes into view.
    mutable QCache<QString, Details> m_details{100};
};
