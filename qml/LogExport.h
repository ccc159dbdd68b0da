// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "LogFiles.h"

#include <Brindlecast/ExportJob.h>
#include <Brindlecast/ExportLogViewModel.h>

#include <QHash>
#include <QObject>
#include <QString>
#include <QTimer>
#include <qqml.h>

/**
 * The back end of a screen on which a user exports logs: the listed files with their marks, the destination, and the
 * job that copies them. LogExportScreen has one; a host that lays out a screen of its own makes one and gives it to
 * each part.
 *
 * Marks belong to file names and are kept when the list is read again, which happens as soon as a log is begun or
 * deleted. It also happens every five seconds if a log that is shown has grown, but not while a finger moves the list.
 * The folder of the logs and the destination are checked once a second, so both may appear and disappear at any time.
 *
 * Lives on the user-interface thread. The destructor cancels a running job.
 */
class LogExport : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(LogFiles *files READ files CONSTANT)
    Q_PROPERTY(ExportJob *job READ job CONSTANT)

    /** The folder listed; the library's log directory by default. */
    Q_PROPERTY(QString logFolder READ logFolder WRITE setLogFolder NOTIFY logFolderChanged)
    Q_PROPERTY(bool logFolderFound READ isLogFolderFound NOTIFY logFolderFoundChanged)
    Q_PROPERTY(SortOrder sortOrder READ sortOrder WRITE setSortOrder NOTIFY sortOrderChanged)
    /** True while a finger moves the list; new sizes do not reload it then. */
    Q_PROPERTY(bool scrolling READ isScrolling WRITE setScrolling NOTIFY scrollingChanged)

    /** How many logs are marked, and what they take, such as "1.3 MB". */
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedSize READ selectedSize NOTIFY selectionChanged)
    /** False when the marked logs are larger than the free space of the destination. */
    Q_PROPERTY(bool selectionFits READ selectionFits NOTIFY selectionChanged)

    /** The folder to copy to. When empty, the first volume mounted below /media or /run/media is taken. */
    Q_PROPERTY(QString destination READ destination WRITE setDestination NOTIFY destinationChanged)
    /**
     * Whether the folder `destination` must be the place where a volume is mounted; false by default. When true, the
     * empty mount point that a stick leaves is not taken for a stick.
     */
    Q_PROPERTY(bool destinationMustBeVolume READ destinationMustBeVolume WRITE setDestinationMustBeVolume NOTIFY
                   destinationChanged)
    /** The folder that the next export copies to; empty while there is none. */
    Q_PROPERTY(QString destinationFolder READ destinationFolder NOTIFY destinationFolderChanged)
    Q_PROPERTY(QString freeSpace READ freeSpace NOTIFY destinationFolderChanged)

    /**
     * Whether the host's messages are written to log files; setting it switches QtDebugLogger on or off. True by
     * default, which switches nothing.
     */
    Q_PROPERTY(bool logging READ isLogging WRITE setLogging NOTIFY loggingChanged)

public:
    enum class SortOrder { NewestFirst, OldestFirst, LargestFirst };
    Q_ENUM(SortOrder)

    explicit LogExport(QObject *parent = nullptr);

    LogFiles *files() { return &m_files; }
    ExportJob *job() { return &m_job; }

    QString logFolder() const { return m_logFolder; }
    void setLogFolder(const QString &folder);
    bool isLogFolderFound() const { return !m_logFolderKey.isEmpty(); }

    SortOrder sortOrder() const { return m_sortOrder; }
    void setSortOrder(SortOrder order);

    bool isScrolling() const { return m_isScrolling; }
    void setScrolling(bool isScrolling);

    int selectedCount();
    QString selectedSize() const;
    bool selectionFits() const;

    QString destination() const { return m_destination; }
    void setDestination(const QString &folder);
    bool destinationMustBeVolume() const { return m_destinationMustBeVolume; }
    void setDestinationMustBeVolume(bool mustBe);
    QString destinationFolder() const { return m_destinationFolder; }
    QString freeSpace() const;

    bool isLogging() { return m_logs.isLogging(); }
    void setLogging(bool logging);

    /** Marks the log of a row, or takes its mark off. Nothing happens when there is no such row. */
    Q_INVOKABLE void toggle(int row);
    /** Marks all logs, and those that are listed later. */
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void selectNone();

    /**
     * Copies the marked logs to the destination; `job` has the progress and the result. Returns false, and does
     * nothing, when no log is marked, the job is active already or the system has no thread left.
     */
    Q_INVOKABLE bool exportSelected();

    /** The path of a listed file. */
    Q_INVOKABLE QString pathOf(const QString &fileName) const;
    /** A number of bytes as the screen shows it. */
    Q_INVOKABLE QString textOfSize(qint64 bytes) const;

Q_SIGNALS:
    void logFolderChanged();
    void logFolderFoundChanged();
    void sortOrderChanged();
    void scrollingChanged();
    void selectionChanged();
    void destinationChanged();
    void destinationFolderChanged();
    void loggingChanged();

private:
    void onSelectionChanged();
    void restoreMarks();
    void lookAround();
    void lookAtLogFolder();
    void lookAtDestination();
    void readDestination();
    void reloadGrownLogs();

    ExportLogViewModel m_logs;
    LogFiles m_files;
    ExportJob m_job;
    QTimer m_lookTimer;
    QTimer m_sizeTimer;

    QString m_logFolder;
    QString m_logFolderKey;
    SortOrder m_sortOrder = SortOrder::NewestFirst;
    bool m_isScrolling = false;
    bool m_isListed = false;
    QHash<QString, bool> m_marks;
    qint64 m_selectedBytes = 0;

    QString m_destination;
    bool m_destinationMustBeVolume = false;
    QString m_destinationFolder;
    QString m_destinationKey;
    qint64 m_freeBytes = -1;
};
