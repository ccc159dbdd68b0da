// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/CommonListViewModel.h>

#include <QAbstractItemModelTester>
#include <QJsonObject>
#include <QMap>
#include <QTest>

#include <atomic>
#include <functional>
#include <limits>
#include <thread>
#include <utility>

namespace {

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

CommonListItemData record(const QString &name)
{
    CommonListItemData data(nullptr);
    data.setValue("name"_q, name);
    return data;
}

// Starts with the rows A, B and C. A list model proper has no rows below a row, which the model tester insists on.
class TestedModel : public CommonListViewModel
{
    Q_OBJECT

public:
    TestedModel()
        : CommonListViewModel(nullptr)
    {
        setRoleNamesOfRow({"name"_q, "mark"_q});
        setListData({record("A"_q), record("B"_q), record("C"_q)});
        const auto note = [this](const QString &event) { return [this, event] { m_events += event; }; };
        connect(this, &QAbstractItemModel::modelAboutToBeReset, this, note(" reset("_q));
        connect(this, &QAbstractItemModel::modelReset, this, note(")"_q));
        connect(this, &QAbstractItemModel::rowsAboutToBeInserted, this,
                [this](const QModelIndex &, int first, int last) { m_events += " %1-%2("_q.arg(first).arg(last); });
        connect(this, &QAbstractItemModel::rowsInserted, this, note(")"_q));
        connect(this, &CommonListViewModel::countUpdated, this, note(" count"_q));
    }
    int rowCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : CommonListViewModel::rowCount(parent);
    }
    using CommonListViewModel::roleNames;

    // The rows, and what was announced since the last call.
    QString state()
    {
        QString names;
        for (int row = 0; row < property("count").toInt(); ++row)
            names += data(index(row), Qt::UserRole + 1).toString();
        return names + std::exchange(m_events, {});
    }

private:
    QString m_events;
};

const QMap<QString, std::function<void(TestedModel &, int, const CommonListItemData &)>> operations
    = {{"insert"_q, [](auto &model, int row, const auto &data) { model.insertItemDataAt(row, data); }},
       {"update"_q, [](auto &model, int row, const auto &data) { model.updateItemDataAt(row, data); }},
       {"set"_q, [](auto &model, int row, const auto &) { model.setItemValue(row, "name"_q, "X"_q); }},
       {"up"_q, [](auto &model, int row, const auto &) { model.moveUpItemDataAt(row); }},
       {"down"_q, [](auto &model, int row, const auto &) { model.moveDownItemDataAt(row); }},
       {"remove"_q, [](auto &model, int row, const auto &) { model.removeItemDataAt(row); }}};

} // namespace

class tst_CommonListViewModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void copiesTheValuesOfARecordAlone()
    {
        QMap<QString, QVariant> values = {{"stale"_q, 1}};
        QObject parent;
        CommonListItemData source(&parent);
        source.getAllData(values);
        QCOMPARE(values.size(), 0);
        source.setProperty("dynamic", 1);
        source.setData({{"b"_q, 2}, {"a"_q, 0}});
        source.setValue("a"_q, 1);
        CommonListItemData copy(source);
        QCOMPARE(copy.parent(), nullptr);
        QCOMPARE(copy.dynamicPropertyNames().size(), 0);
        copy.setValue("C"_q, 3); // Keys stand in the order of their code units.
        copy.copyFrom(static_cast<const CommonListItemData &>(copy));
        QCOMPARE(copy.keys().join(""_q) + source.keys().join(""_q), "Cabab"_q);
        copy.copyFrom(source);
        source.setValue("a"_q, 4);
        copy.getAllData(values);
        QCOMPARE(values, (QMap<QString, QVariant>{{"a"_q, 1}, {"b"_q, 2}}));
        QCOMPARE(&(copy = source), &copy);
        QCOMPARE(copy.getValue("a"_q), QVariant(4));
    }

    void changesARow_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("state");
        for (const char *line : {"insert 0 XABC", "insert 2 ABXC", "update 1 AXC", "set 2 ABX", "up 2 ACB", "up 1 BAC",
                                 "down 0 BAC", "remove 0 BC", "remove 2 AB"}) {
            const QStringList parts = QString::fromLatin1(line).split(" "_q);
            QTest::newRow(line) << parts[0] << parts[1].toInt() << parts[2] + " reset()"_q;
        }
        QTest::newRow("up 0") << "up"_q << 0 << "ABC"_q;
        QTest::newRow("down 2") << "down"_q << 2 << "ABC"_q;
        const QStringList names = operations.keys();
        for (const QString &name : names) {
            for (const int row : {kLowest, -1, 3, kHighest})
                QTest::addRow("%s %d", qPrintable(name), row) << name << row << "ABC"_q;
        }
    }
    void changesARow()
    {
        QFETCH(const QString, operation);
        QFETCH(const int, row);
        TestedModel model;
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        CommonListItemData passed = record("X"_q);
        operations[operation](model, row, passed);
        passed.setValue("name"_q, "changed"_q); // Which must not reach the rows.
        QTEST(model.state(), "state");
        model.setListData({});
        QCOMPARE(model.state(), " reset() count"_q);
        operations[operation](model, 0, passed); // An empty model refuses every row.
        QCOMPARE(model.state(), QString());
    }

    void changesAllRows()
    {
        TestedModel model;
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        CommonItemDataList passed = {record("X"_q), record("Y"_q)};
        model.addItemData(passed.constFirst());
        QCOMPARE(model.state(), "ABCX 3-3() count"_q);
        model.clear();
        model.clear();
        QCOMPARE(model.state(), " reset() count reset() count"_q);
        model.setListData(passed);
        passed.first().setValue("name"_q, "changed"_q);
        QCOMPARE(model.state(), "XY reset() count"_q);
    }

    void survivesRowsTakenAwayByASlot()
    {
        for (const auto &operation : operations) {
            TestedModel model;
            int resets = 0;
            connect(&model, &QAbstractItemModel::modelAboutToBeReset, this,
                    [&] { ++resets == 1 ? model.setListData({record("Z"_q)}) : void(); });
            operation(model, 1, record("X"_q));
            QCOMPARE(model.state(), "Z reset( reset() count)"_q);
        }
    }

    void excludesOtherThreadsWhileResetting()
    {
        TestedModel model;
        std::atomic_bool isDone(false);
        std::atomic_bool wasDoneWithinReset(false);
        std::thread other;
        QObject context;
        const auto connection = connect(&model, &QAbstractItemModel::modelAboutToBeReset, &context, [&] {
            other = std::thread([&] { model.removeItemDataAt(2), isDone = true; });
            QTest::qSleep(50);
            wasDoneWithinReset = isDone.load();
        });
        model.removeItemDataAt(0);
        disconnect(connection);
        other.join();
        QVERIFY(isDone && !wasDoneWithinReset);
        // The row that the other thread had checked was gone by its turn.
        QCOMPARE(model.get(1).value("name"_q), "C"_q);
    }

    void readsByRoleAndAsJson()
    {
        TestedModel model;
        using Roles = QHash<int, QByteArray>;
        QCOMPARE(model.roleNames(), (Roles{{257, "name"}, {258, "mark"}}));
        QCOMPARE(model.data(model.index(1), 257), QVariant("B"_q));
        for (const int role : {258, 259, 256, int(Qt::DisplayRole), int(Qt::EditRole), kLowest, kHighest})
            QVERIFY(!model.data(model.index(0), role).isValid());
        QVERIFY(!model.data(QModelIndex(), 257).isValid() && !model.setData(model.index(0), 1, 257));

        model.setItemValue(1, "size"_q, 5000000000LL);
        model.setItemValue(1, "none"_q, QVariant());
        QJsonObject row;
        QVERIFY(QMetaObject::invokeMethod(&model, "get", Q_RETURN_ARG(QJsonObject, row), Q_ARG(int, 1)));
        QCOMPARE(row, QJsonObject({{"name"_q, "B"_q}, {"none"_q, QJsonValue()}, {"size"_q, 5e9}}));
        QVERIFY(model.get(kLowest).isEmpty() && model.get(3).isEmpty());
        model.updateItemDataAt(1, record("X"_q));
        QCOMPARE(model.get(1).keys(), QStringList("name"_q));

        const QModelIndex staleIndex = model.index(2);
        model.clear();
        QVERIFY(!model.data(staleIndex, 257).isValid());
        model.setRoleNamesOfRow({"name"_q, "name"_q, "größe"_q});
        QCOMPARE(model.roleNames(), (Roles{{257, "name"}, {258, "name"}, {259, "größe"}}));
        model.addItemData(record("X"_q));
        QCOMPARE(model.data(model.index(0), 258), QVariant("X"_q));
    }
};

QTEST_GUILESS_MAIN(tst_CommonListViewModel)

#include "tst_commonlistviewmodel.moc"
