// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/ExportLogViewModel.h>
#include <Brindlecast/LogDirectory_p.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <limits>
#include <utility>

namespace {

constexpr qint64 kGibibyte = 1024LL * 1024 * 1024;

// Compares marks, counters and paths whenever anything is announced, as early as a host can.
class WatchedModel : public ExportLogViewModel
{
    Q_OBJECT

public:
    explicit WatchedModel(const QString &folder = {})
        : ExportLogViewModel(nullptr)
    {
        const auto announced = [this] { check(); };
        const CommonListViewModel *list = rows.data();
        connect(list, &CommonListViewModel::modelAboutToBeReset, this, announced);
        connect(list, &CommonListViewModel::modelReset, this, announced);
        connect(list, &CommonListViewModel::rowsInserted, this, announced);
        connect(list, &CommonListViewModel::countUpdated, this, announced);
        connect(this, &ExportLogViewModel::selectedNumberChangedSignal, this, [this] { check(), ++changes; });
        if (!folder.isEmpty())
            setCurrentFolder(folder);
    }
    ~WatchedModel() override { QCOMPARE(disagreements, QStringList()); }
    using ExportLogViewModel::onFileSystemDirectoryChanged;
    using ExportLogViewModel::onFileSystemFileChanged;
    using ExportLogViewModel::updateFileListView;

    QString names(bool onlyMarked = false)
    {
        QStringList result;
        for (int row = 0; row < rows->count(); ++row) {
            if (!onlyMarked || rows->get(row).value("selected"_q).toBool())
                result.append(rows->get(row).value("file_name"_q).toString());
        }
        return result.join(" "_q);
    }
    QString exported()
    {
        QStringList paths;
        getSelectedLogs(paths);
        for (QString &path : paths)
            path = QFileInfo(path).fileName();
        return paths.join(" "_q);
    }
    QString counters() { return selectedNumberStr() + " "_q + selectedFileSizeStr(); }

    const CommonListViewModelPointer rows = fileListViewModel();
    int changes = 0;
    QStringList disagreements;

private:
    void check()
    {
        QStringList paths;
        const QString counted = " %1 KB"_q.arg(getSelectedLogs(paths) / 1024).prepend(QString::number(paths.size()));
        if (counters() != counted || names(true) != exported() || enableExport() == paths.isEmpty())
            disagreements.append("%1, %2: %3, %4"_q.arg(counters(), counted, names(true), exported()));
    }
};

CommonListItemData row(const QString &name, bool mark)
{
    CommonListItemData data(nullptr);
    data.setData({{"file_name"_q, name}, {"selected"_q, mark}});
    return data;
}

} // namespace

class tst_ExportLogViewModel : public QObject
{
    Q_OBJECT

    QString path(const QString &name) const { return m_folder->filePath(name); }

    QScopedPointer<QTemporaryDir> m_folder;

private Q_SLOTS:
    void init()
    {
        m_folder.reset(new QTemporaryDir);
        QVERIFY2(m_folder->isValid(), qPrintable(m_folder->errorString()));
        QVERIFY(makeFile(path("a.txt"_q), 1023) && makeFile(path("b.log"_q), 513));
        QVERIFY(makeFile(path("c.log"_q), 5 * kGibibyte));
    }

    void listsTheLogsOfAFolder()
    {
        QVERIFY(makeFile(path("d.csv"_q)) && makeFile(path(".hidden.log"_q)) && makeFile(path("E.LOG"_q)));
        QVERIFY(QDir(m_folder->path()).mkdir("x.log"_q) && QFile::link(path("b.log"_q), path("l.log"_q)));
        const Recorder recorder;
        WatchedModel model(m_folder->path());
        QCOMPARE(model.names(), "l.log c.log b.log a.txt E.LOG"_q);
        const QString told = "0 Brindlecast/ExportLogViewModel.cpp:24 void ExportLogViewModel::setCurrentFolder("
                             "const QString&): setCurrentFolder  \"%1\""_q;
        QCOMPARE(Recorder::messages(), QStringList(told.arg(m_folder->path())));
        QCOMPARE(model.rows->get(0).keys(), QStringList({"file_name"_q, "selected"_q}));
        QCOMPARE(model.rows->data(model.rows->index(1), 257), QVariant("c.log"_q));

        model.setSelected(0);
        const QSignalSpy resets(model.rows.data(), &QAbstractItemModel::modelReset);
        for (const QString &noFolder : {path("none"_q), path("a.txt"_q)})
            model.setCurrentFolder(noFolder);
        QCOMPARE(model.currentFolderPath() + model.exported(), m_folder->path() + "l.log"_q);
        model.setCurrentFolder(path("x.log"_q)); // empty: the list is cleared and not filled
        QCOMPARE(model.counters(), "0 0 KB"_q);
        QCOMPARE(QList<qint64>({resets.count(), model.changes}), QList<qint64>({1, 3}));
        model.updateFileListView();
        QCOMPARE(model.names(), QString()); // and not filled with what was listed before
        QVERIFY(QDir::setCurrent(m_folder->path()));
        model.setCurrentFolder(QString());
        QVERIFY(QDir::setCurrent(QDir::rootPath()));
        QCOMPARE(QList<qint64>({model.rows->count(), resets.count(), model.changes}), QList<qint64>({5, 4, 4}));
        QCOMPARE(Recorder::messages().size(), 5); // Qt would complain about an empty path to watch
    }

    void ordersAsQDirDoes()
    {
        int number = 0;
        for (const QString &name : {"B1.log"_q, "a2.log"_q, "A3.txt"_q, "ä.log"_q, "Z.txt"_q, "z1.log"_q}) {
            const auto time = QDateTime::fromMSecsSinceEpoch(1600000000000 + number / 2);
            QVERIFY(makeFile(path(name), number++ % 3, time));
        }
        WatchedModel model(m_folder->path());
        for (int bits = 0; bits <= (QDir::Type | QDir::LocaleAware | QDir::DirsLast | QDir::SortByMask); ++bits) {
            const QDir::SortFlags flags(bits & ~(QDir::DirsFirst | QDir::DirsLast));
            model.setSortType(flags);
            const QStringList names = QDir(m_folder->path()).entryList({"*.txt"_q, "*.log"_q}, QDir::Files, flags);
            QCOMPARE(model.names() + QString::number(bits), names.join(" "_q) + QString::number(bits));
        }
        model.changes = 0;
        model.setSortType(model.sortType());
        QCOMPARE(model.changes, 0);
    }

    void countsWhatIsSelected()
    {
        WatchedModel model;
        model.setNoneSelected();
        QCOMPARE(model.changes, 0);
        model.setCurrentFolder(m_folder->path()); // c.log b.log a.txt
        bool isSelected = true;
        for (const int index : {std::numeric_limits<int>::min(), -1, 3, std::numeric_limits<int>::max()}) {
            model.setSelected(index);
            model.setUnselected(index);
            QVERIFY(!model.isItemSelected(index, isSelected) && isSelected);
        }
        QStringList steps;
        for (const int index : {2, 2, 1, 0, ~2, ~2, ~1}) { // ~ takes the mark off
            index >= 0 ? model.setSelected(index) : model.setUnselected(~index);
            QVERIFY(model.isItemSelected(qMax(index, ~index), isSelected) && isSelected == (index >= 0));
            steps.append(model.counters());
        }
        QCOMPARE(steps.join(", "_q),
                 "1 0 KB, 1 0 KB, 2 1 KB, 3 5242881 KB, 2 5242880 KB, 2 5242880 KB, 1 5242880 KB"_q);
        QCOMPARE(model.changes, 1 + 5);
        QStringList paths("before"_q);
        QCOMPARE(model.getSelectedLogs(paths), 5 * kGibibyte);
        QCOMPARE(paths, QStringList({"before"_q, path("c.log"_q)}));
        model.setNoneSelected();
        model.setNoneSelected();
        QCOMPARE(model.changes, 6 + 1);
    }

    void keepsCountingUnderSelectAll()
    {
        for (const bool isTold : {true, false}) {
            init();
            WatchedModel model(m_folder->path());
            model.rows->blockSignals(!isTold); // As a host may, which must not export the wrong files then.
            QVERIFY(QFile::remove(path("c.log"_q))); // vanishes between listing and selection
            model.setAllSelected();
            QCOMPARE(model.counters(), "3 1 KB"_q);
            model.setSortType(QDir::Name);
            QCOMPARE(model.counters(), "2 1 KB"_q);
            model.setUnselected(0);
            QCOMPARE(model.exported(), "b.log"_q);
            model.setCurrentFolder(m_folder->path());
            QCOMPARE(model.exported(), "a.txt b.log"_q);
            QCOMPARE(model.changes, 5);
            model.setNoneSelected();
            model.setCurrentFolder(m_folder->path());
            QCOMPARE(model.counters(), "0 0 KB"_q);
        }
    }

    void followsHostsThatEditRows()
    {
        using List = CommonListViewModel;
        const std::pair<QString, std::function<void(List &)>> edits[] = {
            {"c.log b.log a.txt"_q, [](List &rows) { rows.setItemValue(2, "selected"_q, true); }},
            {"b.log"_q, [](List &rows) { rows.setItemValue(0, "selected"_q, QVariant()); }},
            {"b.log"_q, [](List &rows) { rows.removeItemDataAt(0); }},
            {"c.log b.log"_q, [](List &rows) { rows.setItemValue(0, "file_name"_q, "nicer"_q); }},
            {"a.txt b.log"_q, [](List &rows) { rows.setItemValue(0, "file_name"_q, "a.txt"_q); }}, // another row's name
            {"c.log b.log"_q, [](List &rows) { rows.insertItemDataAt(0, row("x"_q, false)); }},
            {"c.log"_q, [](List &rows) { rows.removeItemDataAt(1), rows.addItemData(row("x"_q, false)); }},
            {"a.txt"_q, [](List &rows) { rows.clear(), rows.addItemData(row("a.txt"_q, true)); }},
        };
        for (const auto &[exported, edit] : edits) {
            WatchedModel model(m_folder->path());
            model.setSelected(0);
            model.setSelected(1);
            edit(*model.rows);
            QCOMPARE(model.exported(), exported);
            const bool isRenamed = model.names().contains("nicer"_q) || model.names().contains("x"_q);
            QVERIFY(model.disagreements.isEmpty() || isRenamed); // Which the path is not.
            model.setAllSelected(); // stays inside the file list, whatever the rows are
            model.setNoneSelected();
            model.updateFileListView();
            QCOMPARE(model.rows->count(), 3);
            model.rows->addItemData(row("stranger"_q, true));
            QCOMPARE(model.counters() + model.exported(), "1 0 KB"_q);
            model.disagreements.clear(); // Neither has a stranger a path.
        }
    }

    void reloadsWhenItsFolderIsReported()
    {
        QVERIFY(QDir(m_folder->path()).mkdir("sub"_q) && QDir().mkpath(logDirectory()));
        const Recorder recorder;
        WatchedModel model;
        QCOMPARE(model.currentFolderPath(), logDirectory());
        QVERIFY(makeFile(logDirectory() + "watched.log"_q));
        QTRY_VERIFY(model.names().contains("watched.log"_q));
        QVERIFY(QFile::remove(logDirectory() + "watched.log"_q));
        QTRY_VERIFY(!model.names().contains("watched.log"_q));

        model.setCurrentFolder(m_folder->path());
        model.setCurrentFolder(path("sub"_q));
        Recorder::messages().clear();
        model.changes = 0;
        model.onFileSystemDirectoryChanged(m_folder->path());
        model.onFileSystemFileChanged(path("SUB"_q));
        QCOMPARE(model.changes, 0);
        const QString told = "0 Brindlecast/ExportLogViewModel.cpp:%1 void ExportLogViewModel::onFileSystem%2Changed("
                             "const QString&): FileSystem%2Changed:  \"%3\""_q;
        QCOMPARE(Recorder::messages().value(0), told.arg("79"_q, "Directory"_q, m_folder->path()));
        QCOMPARE(Recorder::messages().value(1), told.arg("88"_q, "File"_q, path("SUB"_q)));
        model.onFileSystemDirectoryChanged(path("sub"_q));
        model.onFileSystemFileChanged(path("sub2/x.log"_q));
        QCOMPARE(model.changes, 2);
        QVERIFY(makeFile(path("sub/new.log"_q)));
        QTRY_COMPARE(model.names(), "new.log"_q);
        QVERIFY(makeFile(path("elsewhere.log"_q)));
        QTRY_VERIFY(Recorder::messages().constLast().contains("Changed:  \"%1\""_q.arg(m_folder->path())));
    }

    // The log volume may be mounted after the screen was made. A renaming is what a test may do anywhere.
    void watchesTheFolderThatIsThereNow()
    {
        const Recorder recorder;
        for (const bool isLink : {false, true}) {
            const QString folder = path(isLink ? "link"_q : "logs"_q);
            QVERIFY(makeFile(path("1/old.log"_q)) && makeFile(path("2/new.log"_q)));
            QVERIFY(isLink ? QFile::link(path("1"_q), folder) : QFile::rename(path("1"_q), folder));
            WatchedModel model(folder);
            QCOMPARE(model.names(), "old.log"_q);
            QVERIFY(isLink ? QFile::remove(folder) && QFile::link(path("2"_q), folder)
                           : QFile::rename(folder, path("3"_q)) && QFile::rename(path("2"_q), folder));
            model.setCurrentFolder(folder);
            QCOMPARE(model.names(), "new.log"_q);
            QVERIFY(makeFile(folder + "/newer.log"_q));
            QTRY_COMPARE(model.names(), "newer.log new.log"_q);
            QVERIFY(QDir(path("1"_q)).removeRecursively() && QDir(path("2"_q)).removeRecursively());
        }
    }
};

QTEST_GUILESS_MAIN(tst_ExportLogViewModel)

#include "tst_exportlogviewmodel.moc"
