// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// What do listing a folder of logs and filling the rows cost, against Qt's own way to the same result?

#include <Brindlecast/CommonListViewModel.h>
#include <Brindlecast/DiskSpaceChecker.h>
#include <Brindlecast/ExportLogViewModel.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QVector>

#include <benchmark/benchmark.h>

namespace {

constexpr int kFileNameRole = Qt::UserRole + 1;
constexpr int kSelectedRole = kFileNameRole + 1;

/** A folder of that many logs, with modification times that follow no order of their names. */
class LogFolder
{
public:
    explicit LogFolder(qint64 files)
    {
        const QDateTime base = QDateTime::currentDateTime();
        for (qint64 i = 0; i < files; ++i) {
            QFile log(m_folder.filePath(QStringLiteral("log-%1.log").arg(i, 6, 10, QLatin1Char('0'))));
            log.open(QIODevice::WriteOnly);
            log.write("one line\n");
            log.flush();
            log.setFileTime(base.addSecs(-(i * 7919 % files)), QFileDevice::FileModificationTime);
        }
    }
    QString path() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
};

QFileInfoList listByQt(const QString &path, QDir::SortFlags order)
{
    QDir folder(path);
    folder.setFilter(QDir::Files);
    folder.setSorting(order);
    folder.setNameFilters({QStringLiteral("*.txt"), QStringLiteral("*.log")});
    return folder.entryInfoList();
}

const QString kFileName = QStringLiteral("file_name");
const QString kSelected = QStringLiteral("selected");

void fillRow(CommonListItemData &row, int number)
{
    row.setValue(kFileName, QString::number(number));
    row.setValue(kSelected, false);
}

void addRowsTo(CommonListViewModel &model, qint64 count)
{
    model.setRoleNamesOfRow({kFileName, kSelected});
    CommonListItemData row(nullptr);
    for (int i = 0; i < count; ++i) {
        fillRow(row, i);
        model.addItemData(row);
    }
}

QStandardItem *makeStandardRow(int number)
{
    auto *const row = new QStandardItem;
    row->setData(QString::number(number), kFileNameRole);
    row->setData(false, kSelectedRole);
    return row;
}

void list(benchmark::State &state, QDir::SortFlags order)
{
    const LogFolder folder(state.range(0));
    ExportLogViewModel model(nullptr);
    model.setSortType(order);
    for (auto _ : state)
        model.setCurrentFolder(folder.path());
    if (model.fileListViewModel()->count() != state.range(0))
        state.SkipWithError("wrong number of rows");
}

void listOrderedByQt(benchmark::State &state, QDir::SortFlags order)
{
    const LogFolder folder(state.range(0));
    for (auto _ : state) {
        const QFileInfoList entries = listByQt(folder.path(), order);
        benchmark::DoNotOptimize(entries.size());
    }
}

void measureFolder(benchmark::State &state)
{
    const LogFolder folder(state.range(0));
    DiskSpaceChecker checker(nullptr);
    for (auto _ : state)
        benchmark::DoNotOptimize(checker.dirFileSize(folder.path()));
}

void measureFolderByIterator(benchmark::State &state)
{
    const LogFolder folder(state.range(0));
    for (auto _ : state) {
        quint64 total = 0;
        QDirIterator entries(folder.path(), QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            entries.next();
            if (entries.fileInfo().isFile())
                total += static_cast<quint64>(entries.fileInfo().size());
        }
        benchmark::DoNotOptimize(total);
    }
}

void setRows(benchmark::State &state)
{
    CommonItemDataList rows;
    CommonListItemData row(nullptr);
    for (int i = 0; i < state.range(0); ++i) {
        fillRow(row, i);
        rows.append(row);
    }
    CommonListViewModel model(nullptr);
    for (auto _ : state)
        model.setListData(rows);
}

void setRowsStandard(benchmark::State &state)
{
    QStandardItemModel model;
    for (auto _ : state) {
        model.clear();
        QList<QStandardItem *> rows;
        for (int i = 0; i < state.range(0); ++i)
            rows.append(makeStandardRow(i));
        model.invisibleRootItem()->appendRows(rows);
    }
}

void addRows(benchmark::State &state)
{
    for (auto _ : state) {
        CommonListViewModel model(nullptr);
        addRowsTo(model, state.range(0));
    }
}

void addRowsStandard(benchmark::State &state)
{
    for (auto _ : state) {
        QStandardItemModel model;
        for (int i = 0; i < state.range(0); ++i)
            model.appendRow(makeStandardRow(i));
    }
}

// Asks for the index of each row anew, as views do, or has them at hand.
void readAll(benchmark::State &state, const QAbstractItemModel &model, bool hasIndexes)
{
    QVector<QModelIndex> indexes;
    for (int row = 0; row < model.rowCount(); ++row)
        indexes.append(model.index(row, 0));
    for (auto _ : state) {
        for (int row = 0; row < indexes.size(); ++row) {
            for (const int role : {kFileNameRole, kSelectedRole}) {
                const QModelIndex index = hasIndexes ? indexes.at(row) : model.index(row, 0);
                benchmark::DoNotOptimize(model.data(index, role));
            }
        }
    }
}

void readRows(benchmark::State &state, bool hasIndexes)
{
    CommonListViewModel model(nullptr);
    addRowsTo(model, state.range(0));
    readAll(state, model, hasIndexes);
}

void readRowsStandard(benchmark::State &state, bool hasIndexes)
{
    QStandardItemModel model;
    for (int i = 0; i < state.range(0); ++i)
        model.appendRow(makeStandardRow(i));
    readAll(state, model, hasIndexes);
}

void ignore(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    Q_UNUSED(type)
    Q_UNUSED(context)
    Q_UNUSED(msg)
}

} // namespace

#define BENCHMARK_ROWS(function) BENCHMARK(function)->Unit(benchmark::kMillisecond)->Arg(1000)->Arg(3000)->Arg(10000)
#define BENCHMARK_CASE(function, name, argument) \
    BENCHMARK_CAPTURE(function, name, argument)->Unit(benchmark::kMillisecond)->Arg(1000)->Arg(3000)->Arg(10000)

BENCHMARK_CASE(list, by_name, QDir::Name);
BENCHMARK_CASE(listOrderedByQt, by_name, QDir::Name);
BENCHMARK_CASE(list, by_time, QDir::Time);
BENCHMARK_CAPTURE(listOrderedByQt, by_time, QDir::Time)->Unit(benchmark::kMillisecond)->Arg(1000)->Arg(10000);
BENCHMARK_ROWS(measureFolder);
BENCHMARK_ROWS(measureFolderByIterator);
BENCHMARK_ROWS(setRows);
BENCHMARK_ROWS(setRowsStandard);
BENCHMARK_ROWS(addRows);
BENCHMARK_ROWS(addRowsStandard);
BENCHMARK_CASE(readRows, with_index, false);
BENCHMARK_CASE(readRowsStandard, with_index, false);
BENCHMARK_CASE(readRows, data_alone, true);
BENCHMARK_CASE(readRowsStandard, data_alone, true);

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(ignore); // The model tells every folder that it lists.
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
