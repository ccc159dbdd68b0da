// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/CommonListViewModel.h>

#include <QAbstractItemModelTester>
#include <QJsonObject>
#include <QTest>

#include <atomic>
#include <limits>
#include <thread>

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
    }
    int rowCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : CommonListViewModel::rowCount(parent);
    }
    using CommonListViewModel::roleNames;

    QString names()
    {
        QString result;
        for (int row = 0; row < count(); ++row)
            result += data(index(row), Qt::UserRole + 1).toString();
        return result;
    }

    // Runs "name row". The record that is passed changes afterwards, which must not reach the rows.
    void run(const QString &operation)
    {
        const QString name = operation.section(" "_q, 0, 0);
        const int row = operation.section(" "_q, 1).toInt();
        CommonItemDataList list = {record("X"_q), record("Y"_q)};
        if (name == "append"_q)
            addItemData(list.constFirst());
        else if (name == "insert"_q)
            insertItemDataAt(row, list.constFirst());
        else if (name == "update"_q)
            updateItemDataAt(row, list.constFirst());
        else if (name == "set"_q)
            setItemValue(row, "name"_q, "X"_q);
        else if (name == "up"_q || name == "down"_q)
            name == "up"_q ? moveUpItemDataAt(row) : moveDownItemDataAt(row);
        else if (name == "remove"_q)
            removeItemDataAt(row);
        else
            name == "clear"_q ? clear() : setListData(list.mid(row));
        list.first().setValue("name"_q, "changed"_q);
    }
};

} // namespace

class tst_CommonListViewModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesAndAnnounces_data()
    {
        QTest::addColumn<QString>("names");
        QTest::addColumn<QString>("announced");
        QTest::newRow("append") << "ABCX"_q
                                << "insert(3,3 ) count"_q;
        QTest::newRow("insert 0") << "XABC"_q
                                  << "reset( )"_q;
        QTest::newRow("insert 2") << "ABXC"_q
                                  << "reset( )"_q;
        QTest::newRow("update 1") << "AXC"_q
                                  << "reset( )"_q;
        QTest::newRow("set 2") << "ABX"_q
                               << "reset( )"_q;
        QTest::newRow("up 2") << "ACB"_q
                              << "reset( )"_q;
        QTest::newRow("up 1") << "BAC"_q
                              << "reset( )"_q;
        QTest::newRow("down 0") << "BAC"_q
                                << "reset( )"_q;
        QTest::newRow("remove 0") << "BC"_q
                                  << "reset( )"_q;
        QTest::newRow("remove 2") << "AB"_q
                                  << "reset( )"_q;
        QTest::newRow("clear") << ""_q
                               << "reset( ) count"_q;
        QTest::newRow("replace 0") << "XY"_q
                                   << "reset( ) count"_q;
        QTest::newRow("replace 2") << ""_q
                                   << "reset( ) count"_q;
        QTest::newRow("up 0") << "ABC"_q
                              << ""_q;
        QTest::newRow("down 2") << "ABC"_q
                                << ""_q;
        for (const char *name : {"insert", "update", "set", "up", "down", "remove"}) {
            for (const int row : {kLowest, -1, 3, kHighest})
                QTest::addRow("%s %d", name, row) << "ABC"_q
                                                  << ""_q;
        }
    }

    void changesAndAnnounces()
    {
        TestedModel model;
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QStringList events;
        const auto note = [&events](const QString &event) { return [&events, event] { events.append(event); }; };
        connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, note("reset("_q));
        connect(&model, &QAbstractItemModel::modelReset, this, note(")"_q));
        connect(
            &model, &QAbstractItemModel::rowsAboutToBeInserted, this,
            [&](const QModelIndex &, int first, int last) { events.append("insert(%1,%2"_q.arg(first).arg(last)); });
        connect(&model, &QAbstractItemModel::rowsInserted, this, note(")"_q));
        connect(&model, &QAbstractItemModel::dataChanged, this, note("data"_q));
        connect(&model, &CommonListViewModel::countUpdated, this, note("count"_q));
        model.run(QString::fromLatin1(QTest::currentDataTag()));
        QTEST(model.names(), "names");
        QCOMPARE(model.property("count").toInt(), model.names().size());
        QTEST(events.join(" "_q), "announced");

        // An empty model refuses every row, and still says that it is cleared.
        model.clear();
        events.clear();
        for (const QString &name : {"insert"_q, "update"_q, "set"_q, "up"_q, "down"_q, "remove"_q, "clear"_q})
            model.run(name);
        QCOMPARE(events.join(" "_q), "reset( ) count"_q);
    }

    void survivesRowsTakenAwayByASlot()
    {
        for (const QString &operation : {"insert 2"_q, "update 2"_q, "set 1"_q, "up 1"_q, "down 0"_q, "remove 1"_q}) {
            TestedModel model;
            int resets = 0;
            connect(&model, &QAbstractItemModel::modelAboutToBeReset, this,
                    [&] { ++resets == 1 ? model.setListData({record("Z"_q)}) : void(); });
            model.run(operation);
            QCOMPARE(operation + model.names(), operation + "Z"_q);
            QCOMPARE(resets, 2);
        }
    }

    void excludesOtherThreadsWhileResetting()
    {
        TestedModel model;
        std::atomic_bool isDone(false);
        bool wasDoneWithinReset = true;
        std::thread other;
        QObject context;
        const auto connection = connect(&model, &QAbstractItemModel::modelAboutToBeReset, &context, [&] {
            other = std::thread([&] {
                model.removeItemDataAt(2);
                isDone = true;
            });
            QTest::qSleep(50);
            wasDoneWithinReset = isDone;
        });
        model.removeItemDataAt(0);
        disconnect(connection);
        other.join();
        QVERIFY(!wasDoneWithinReset);
        QCOMPARE(model.names(), "BC"_q); // the row that the other thread had checked was gone when its turn came

        connect(&model, &CommonListViewModel::countUpdated, &context,
                [&] { std::thread([&] { model.removeItemDataAt(0); }).join(); });
        model.run("replace"_q);
        QCOMPARE(model.names(), "Y"_q);
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
        model.run("update 1"_q);
        QCOMPARE(model.get(1).keys(), QStringList("name"_q));

        const QModelIndex staleIndex = model.index(2);
        model.clear();
        QVERIFY(!model.data(staleIndex, 257).isValid());
        model.setRoleNamesOfRow({"name"_q, "name"_q, "größe"_q});
        QCOMPARE(model.roleNames(), (Roles{{257, "name"}, {258, "name"}, {259, "größe"}}));
        model.run("replace"_q);
        QCOMPARE(model.data(model.index(0), 258), QVariant("X"_q));
    }
};

QTEST_GUILESS_MAIN(tst_CommonListViewModel)

#include "tst_commonlistviewmodel.moc"
