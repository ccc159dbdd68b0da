// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/CommonListViewModel.h>
#include <Brindlecast/ExportJob.h>
#include <Brindlecast/ExportLogViewModel.h>

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QTimer>
#include <qqml.h>

/**
 * What the export screen's QML needs beside the library's own objects: it passes taps on to the list, knows size and
 * date of each row, watches the destination, and starts the export.
 *
 * The list forgets its marks whenever it lists its folder again, which happens as soon as a log is rolled. A person
 * who is choosing must not lose the choice by that, so the marks that were tapped are kept here by name and put back.
 */
class LogExport : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ExportLogViewModel *logs READ logs CONSTANT)
    Q_PROPERTY(CommonListViewModel *files READ files CONSTANT)
    Q_PROPERTY(ExportJob *job READ job CONSTANT)

    /** The folder listed; the library's log directory by default. */
    Q_PROPERTY(QString logFolder READ logFolder WRITE setLogFolder NOTIFY logFolderChanged)
    Q_PROPERTY(bool logFolderFound READ logFolderFound NOTIFY logFolderChanged)
    Q_PROPERTY(SortOrder sortOrder READ sortOrder WRITE setSortOrder NOTIFY sortOrderChanged)
    /** True while a finger moves the list: it is then not reloaded for the sake of new sizes. */
    Q_PROPERTY(bool scrolling MEMBER m_scrolling)

    /** The folder to copy to. When empty, the first volume mounted below /media or /run/media is taken. */
    Q_PROPERTY(QString destination READ destination WRITE setDestination NOTIFY destinationChanged)
    Q_PROPERTY(QString destinationFolder READ destinationFolder NOTIFY destinationChanged)
    Q_PROPERTY(bool destinationFound READ destinationFound NOTIFY destinationChanged)
    Q_PROPERTY(QString freeSpaceStr READ freeSpaceStr NOTIFY destinationChanged)
    /** False when the selected logs are larger than the free space of the destination. */
    Q_PROPERTY(bool selectionFits READ selectionFits NOTIFY selectionFitsChanged)

public:
    enum class SortOrder { NewestFirst, OldestFirst, LargestFirst };
    Q_ENUM(SortOrder)

    explicit LogExport(QObject *parent = nullptr);

    ExportLogViewModel *logs() { return &m_logs; }
    CommonListViewModel *files() const { return m_logs.fileListViewModel().data(); }
    ExportJob *job() { return &m_job; }

    QString logFolder() const { return m_logFolder; }
    void setLogFolder(const QString &folder);
    bool logFolderFound() const { return !m_logFolderKey.isEmpty(); }

    SortOrder sortOrder() const { return m_sortOrder; }
    void setSortOrder(SortOrder order);

    QString destination() const { return m_destination; }
    void setDestination(const QString &folder);
    QString destinationFolder() const { return m_destinationFolder; }
    bool destinationFound() const { return !m_destinationKey.isEmpty(); }
    QString freeSpaceStr() const { return sizeText(m_freeBytes); }
    bool selectionFits();

    Q_INVOKABLE void toggle(int row);
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void selectNone();
    /** Copies the selected logs to the destination; job() tells how it goes. */
    Q_INVOKABLE void exportSelected();

    Q_INVOKABLE void toggleLogging();

    /** Size and time of the last change of a listed file, as texts. */
    Q_INVOKABLE QString sizeOf(const QString &fileName);
    Q_INVOKABLE QString dateOf(const QString &fileName);
    Q_INVOKABLE QString sizeText(qint64 bytes) const;

Q_SIGNALS:
    void logFolderChanged();
    void sortOrderChanged();
    void destinationChanged();
    void selectionFitsChanged();

private:
    struct Details
    {
        QString size;
        QString date;
    };

    Details readDetails(const QString &fileName) const;
    Details details(const QString &fileName);
    void onRowsReplaced();
    void onSelectionChanged();
    void restoreMarks();
    void list();
    void lookAround();
    void lookAtLogFolder();
    void lookAtDestination();
    void reloadGrownLogs();

    ExportLogViewModel m_logs;
    ExportJob m_job;
    QTimer m_lookTimer;
    QTimer m_sizeTimer;

    QString m_logFolder;
    QString m_logFolderKey;
    SortOrder m_sortOrder = SortOrder::NewestFirst;
    bool m_scrolling = false;
    bool m_listed = false;
    QHash<QString, bool> m_marks;
    QHash<QString, Details> m_details;

    QString m_destination;
    QString m_destinationFolder;
    QString m_destinationKey;
    qint64 m_freeBytes = -1;
};
