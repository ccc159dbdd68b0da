// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/CommonListItemData.h>
#include <Brindlecast/CommonListViewModel.h>
#include <Brindlecast/brindlecast_export.h>

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>
#include <QPair>
#include <QScopedPointer>
#include <QString>
#include <QStringList>
#include <QtGlobal>

class ListedFiles;

/**
 * The model behind a screen on which a user picks log files for export.
 *
 * It lists the files "*.txt" and "*.log" of one folder (case does not matter; no hidden files, no subfolders) as the
 * rows of a CommonListViewModel, keeps a selection mark per row and the number and total size of the marked files, and
 * lists the folder again when a file-system watcher reports a change. Give the view this object and its list model:
 *
 * | Key of a row | Type    | Value                                  |
 * |--------------|---------|----------------------------------------|
 * | "file_name"  | QString | the name of the file, without a folder |
 * | "selected"   | bool    | the selection mark                     |
 *
 * The log directory is the folder at the start. It is watched, but nothing is listed before the first
 * setCurrentFolder(). The folder must exist by then: a folder that is missing when the object is made is not watched.
 *
 * **Selection and listing.** Every listing builds all rows anew and drops the former marks, also one that the watcher
 * caused: a row starts marked when setAllSelected() was called later than setNoneSelected(), and unmarked otherwise.
 * Number and size are those of the marked rows at every signal of this object and of its list model. A size is taken
 * once per listing, by the order by time with the listing itself, by any other when a row is first marked, and does not
 * follow a file that grows.
 *
 * **Rows changed by others.** A host may edit rows through fileListViewModel(), for example add a value of its own.
 * Marks set that way count like any other. A row is tied to its file by "file_name", so rows may be moved or removed. A
 * row whose name changes in place, while all else stays, keeps its file. A row of no listed file can be marked, counts
 * with size 0, and is left out by getSelectedLogs(). Such an edit is gone after the next listing. Each costs a pass
 * over all rows, besides the reset that every view follows (3,000 edits of 10,000 rows: 4 s): a host that changes many
 * rows puts them together with setListData(), and takes the list off its views before it marks many one by one.
 *
 * **Names that can't be shown.** Qt leaves out files whose names are not valid in the local encoding (UTF-8).
 *
 * **Watching.** Limits that follow from watching folders by their path:
 * - A folder that takes the place of the listed one is not noticed by itself: one deleted and made again, another after
 *   a renaming, a volume mounted there, a link that leads elsewhere now. setCurrentFolder() lists it and watches it
 * from then on; the former rows stay until then.
 * - "/x" and "/x/" share one watch, whose reports carry the text that was given first. After setCurrentFolder("/x")
 *   and setCurrentFolder("/x/") the reports say "/x", which does not begin with "/x/", and are ignored. Keep to one
 * form.
 * - Folders listed earlier stay watched. A report leads to a listing when its path begins with the current folder's
 *   text, so a change of "/logs2" also lists "/log" again, which is harmless.
 * - Data appended to a file is not reported: a logger that writes to the folder does not make the list reload.
 *
 * **Thread safety:** none. The object, its watcher and its list model live on the thread that made them, usually the
 * user-interface thread. Don't move the object to another thread: its watcher would stay behind. In a slot of a signal
 * of the object or of its list model, delete it with deleteLater() only.
 */
class BRINDLECAST_EXPORT ExportLogViewModel : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ExportLogViewModel)

    /** Whether anything is selected. */
    Q_PROPERTY(bool enableExport READ enableExport NOTIFY selectedNumberChangedSignal)
    /** The number of selected files as text, such as "3". */
    Q_PROPERTY(QString selectedNumberStr READ selectedNumberStr NOTIFY selectedNumberChangedSignal)
    /** The total size of the selected files in units of 1024 bytes, rounded down, as text, such as "12 KB". */
    Q_PROPERTY(QString selectedFileSizeStr READ selectedFileSizeStr NOTIFY selectedNumberChangedSignal)
    /** The logging state to show. @sa toggleLogging() */
    Q_PROPERTY(bool logOutputEnabled READ isLogging NOTIFY logOutputEnabledChangedSignal)

public:
    /** Returns whether at least one row is selected. */
    bool enableExport();

    /** Returns the number of selected rows in decimal. */
    QString selectedNumberStr();

    /** Returns the total size of the selected files in KB of 1024 bytes, rounded down, followed by " KB". */
    QString selectedFileSizeStr();

    /** Returns the logging state, true at the start. */
    bool isLogging();

    /**
     * Flips the logging state and emits logOutputEnabledChangedSignal().
     *
     * The state is for the view; nothing else happens. A host connects the signal to its logger, and switches file
     * output on or off by isLogging().
     */
    void toggleLogging();

    /** Makes an empty list and watches the log directory, if there is one. `parent` may be null. */
    explicit ExportLogViewModel(QObject *parent);
    ~ExportLogViewModel() override;

    /** Returns the list model, always the same. It may outlive this object and then keeps its rows. */
    CommonListViewModelPointer fileListViewModel() const;

    /**
     * Lists the folder `path` and watches it.
     *
     * Marks are set anew, as the class's description says; then selectedNumberChangedSignal() is emitted, also when
     * nothing differs. When `path` is not an existing folder, nothing changes and nothing is emitted. An empty path is
     * the working directory of the process; it is not watched, but every report about other folders lists it again.
     *
     * Writes one debug message. Reads the folder before it returns.
     */
    void setCurrentFolder(const QString &path);

    /**
     * Sets the order of the rows and, if it differs from the present one, lists the folder again.
     *
     * The default is QDir::Reversed: by name, descending. QDir::Time puts the newest file first, by the true instant
     * of its last change: unlike QDir's own order, also in the hour that the end of summer time repeats.
     */
    void setSortType(QDir::SortFlags sortType);

    /** Returns the order of the rows. */
    QDir::SortFlags sortType();

    /** Returns the folder listed last, as it was given; at the start, the log directory. */
    QString currentFolderPath();

    /** Selects every row, and the rows of listings to come. Emits selectedNumberChangedSignal() once if any changed. */
    void setAllSelected();

    /** Selects row `index`. Emits selectedNumberChangedSignal(), but not if the row is selected already or missing. */
    void setSelected(int index);

    /** Unselects row `index`. Emits selectedNumberChangedSignal(), but not if the row isn't selected or is missing. */
    void setUnselected(int index);

    /** Unselects every row, and the rows of listings to come. Emits selectedNumberChangedSignal() once if any changed.
     */
    void setNoneSelected();

    /** Tells by `isSelected` whether row `index` is selected. Returns false, and tells nothing, if there is no such
     * row. */
    bool isItemSelected(int index, bool &isSelected);

    /**
     * Appends the paths of the selected files to `nameList`, in row order, and returns their total size in bytes.
     *
     * `nameList` is not cleared first. A path is the current folder's text and the file name. A file may have vanished
     * since it was listed; its path is given all the same.
     */
    qint64 getSelectedLogs(QStringList &nameList);

Q_SIGNALS:
    /** Emitted after every listing, and when the number or the size of the selected files may have changed. */
    void selectedNumberChangedSignal();

    /** Emitted when the logging state has changed. */
    void logOutputEnabledChangedSignal();

protected:
    /**
     * Fills a row with the name of a file and the mark that new rows get.
     *
     * Returns false, and leaves `data` alone, for what is neither a file nor a folder.
     */
    bool makeFileViewItemInfo(const QFileInfo &info, CommonListItemData &data);

    /** Builds all rows anew from the entries of the last listing. Emits none of this object's signals. */
    void updateFileListView();

    /** Marks row `index`; the counters follow. Returns whether the mark changed. Emits none of this object's signals.
     */
    bool setItemSelected(int index);

    /** Takes the mark off row `index`; the counters follow. Returns and emits like setItemSelected(). */
    bool setItemUnselected(int index);

protected Q_SLOTS:
    /** Lists the current folder again if `path` begins with its text. Writes one debug message. */
    void onFileSystemDirectoryChanged(const QString &path);

    /** The same for a file. Only folders are watched, so it is not expected to be called. */
    void onFileSystemFileChanged(const QString &path);

private:
    struct Listing;
    struct RowChange;
    using FolderIdentity = QPair<quint64, quint64>; // device and number
    void watch(const QString &path);
    template <typename Change> void changeRows(RowChange &rowChange, Change change);
    void rebuildRows(const Listing &listing);
    void markAll(bool isSelected);
    qint64 fileSizeOfRow(int index) const;
    void followRowsAboutToBeReset();
    void followRowsReset();
    void finishRowChange();
    void onRowsEditedByHost();

    int m_selectedNumber = 0;
    qint64 m_selectedFileSize = 0;
    bool m_isLogging = true;
    QString m_currentFolder;
    QDir::SortFlags m_sortType = QDir::Reversed;
    CommonListViewModelPointer m_currentViewModel;
    const QScopedPointer<ListedFiles> m_files;
    QFileSystemWatcher m_fileSystemWatcher;
    QHash<QString, FolderIdentity> m_watchedFolders;
    bool m_isSelectAll = false;
    // The change of rows that this object is making itself, if any; null between calls.
    RowChange *m_rowChange = nullptr;
};
