// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/ListedFiles_p.h>

#include <QtTest>

class tst_ListedFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The files a, b and c are listed with the sizes 1, 2 and 3. Then a host gives the rows other names, step by step.
    void followsTheNamesOfRows_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("files");
        QTest::addColumn<QString>("all");

        const auto row = [](const char *name, const char *steps, const char *files, const char *all) {
            QTest::newRow(name) << steps << files << all;
        };
        row("nothing changed", "a b c", "a1 b2 c3", "a b c");
        row("moved", "c a b", "c3 a1 b2", "c a b");
        row("removed", "a c", "a1 c3", "a c b");
        row("removed and back elsewhere", "a c,a c b", "a1 c3 b2", "a c b");
        row("renamed", "a nice c", "a1 b2 c3", "a b c");
        row("renamed, then moved", "a nice c,nice c a", "b2 c3 a1", "b c a");
        row("two renamed at once", "x y c", "-0 -0 c3", "c a b");
        row("renamed to another file's name", "b b c", "b2 -0 c3", "b c a");
        row("name of a file given up comes back", "b c,a b c", "a1 b2 c3", "a b c");
        row("row of no file", "a b c other", "a1 b2 c3 -0", "a b c");
        row("one name on two rows", "a b c a", "a1 b2 c3 -0", "a b c");
        row("no rows", "", "", "a b c");
    }

    void followsTheNamesOfRows()
    {
        QFETCH(QString, steps);
        ListedFiles listed;
        listed.setFiles({QFileInfo("/none/a"_q), QFileInfo("/none/b"_q), QFileInfo("/none/c"_q)}, {1, 2, 3});

        QStringList names;
        const QStringList nameLists = steps.split(QLatin1Char(','));
        for (const QString &nameList : nameLists) {
            names = nameList.isEmpty() ? QStringList() : nameList.split(QLatin1Char(' '));
            listed.followRows(names);
        }

        QStringList files;
        for (int row = 0; row < names.size(); ++row) {
            const QString name = listed.fileOfRow(row).fileName();
            files.append((name.isEmpty() ? "-"_q : name) + QString::number(listed.sizeOfRow(row)));
        }
        QTEST(files.join(QLatin1Char(' ')), "files");
        QStringList all;
        const QFileInfoList left = listed.files();
        for (const QFileInfo &file : left)
            all.append(file.fileName());
        QTEST(all.join(QLatin1Char(' ')), "all");
        QCOMPARE(listed.sizeOfRow(static_cast<int>(names.size())), 0); // a row that is not there
    }
};

QTEST_GUILESS_MAIN(tst_ListedFiles)
#include "tst_listedfiles.moc"
