// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/CommonListItemData.h>

#include <QTest>

class tst_CommonListItemData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsOneValuePerKeyInCodeUnitOrder()
    {
        CommonListItemData record(nullptr);
        for (const QString &key : {"b"_q, "a"_q, "B"_q, "b"_q, "none"_q})
            record.setValue(key, key.size() == 1 ? QVariant(record.keys().size()) : QVariant());
        QCOMPARE(record.keys(), QStringList({"B"_q, "a"_q, "b"_q, "none"_q}));
        QCOMPARE(record.getValue("b"_q), QVariant(3));
        QVERIFY(!record.getValue("none"_q).isValid() && !record.getValue("ab"_q).isValid());
        for (int count = 0; count < 20; ++count) {
            record.setValue("key%1"_q.arg(count, 2), count);
            for (int i = 0; i < 20; ++i)
                QCOMPARE(record.getValue("key%1"_q.arg(i, 2)), i <= count ? QVariant(i) : QVariant());
        }
    }

    void copiesValuesAlone()
    {
        QMap<QString, QVariant> values = {{"stale"_q, 1}};
        QObject parent;
        CommonListItemData source(&parent);
        source.getAllData(values);
        QVERIFY(values.isEmpty());
        source.setObjectName("source"_q);
        source.setProperty("dynamic", 1);
        source.setData({{"a"_q, 1}, {"b"_q, 2}});

        CommonListItemData copy(source);
        QVERIFY(!copy.parent() && copy.objectName().isEmpty() && copy.dynamicPropertyNames().isEmpty());
        copy.setValue("c"_q, 3);
        copy.copyFrom(static_cast<const CommonListItemData &>(copy));
        QCOMPARE(copy.keys().size() - source.keys().size(), 1);
        copy.copyFrom(source);
        source.setValue("a"_q, 4);
        copy.getAllData(values);
        QCOMPARE(values, (QMap<QString, QVariant>{{"a"_q, 1}, {"b"_q, 2}}));
        QCOMPARE(&(copy = source), &copy);
        QCOMPARE(copy.getValue("a"_q), QVariant(4));
    }
};

QTEST_GUILESS_MAIN(tst_CommonListItemData)

#include "tst_commonlistitemdata.moc"
