// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/FileIOObject.h>

#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

class tst_FileIOObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesEachEntryAndALineFeed()
    {
        const QString high(QChar(0xd83d));
        const QTemporaryDir directory;
        FileIOObject object(nullptr);
        object.path = directory.filePath("a.log"_q);
        object.contentList = QStringList{"a\r\nb\n"_q, {}, QString(QChar(0)), "\u00e4\ufeff"_q};
        QVERIFY2(object.openFile(), qPrintable(object.myfile.errorString()));
        QVERIFY(object.writeFile());
        const QByteArray bytes = QByteArray("a\r\nb\n\n\n\0\n", 9) + "\xc3\xa4\xef\xbb\xbf\n";
        QCOMPARE(fileContents(object.path), bytes);
        object.contentList = QStringList{high + QLatin1Char('x'), high, QChar(0xde00) + high, QString(100000, high[0])};
        QVERIFY(object.writeFile());
        // As a text stream of Qt 5 converts half a character; one of Qt 6 writes U+FFFD.
        QCOMPARE(fileContents(object.path), bytes + "?x\n?\n??\n" + QByteArray(100000, '?') + '\n');
    }

    void keepsItsListAndAppends()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath("a.log"_q);
        {
            FileIOObject object(nullptr);
            object.contentList.append("line"_q);
            for (const QString &wrongPath : {QString(), directory.path(), path + "/missing/a.log"_q}) {
                object.path = wrongPath;
                QVERIFY2(!object.openFile(), qPrintable(wrongPath));
                QVERIFY2(!object.writeFile(), qPrintable(wrongPath));
                object.closeFile();
            }
            object.path = path;
            QVERIFY(object.openFile());
            QCOMPARE(int(object.myfile.openMode()), 7);
            QVERIFY(object.writeFile());
            QVERIFY(object.writeFile());
            QCOMPARE(object.contentList.size(), 1);
            object.contentList.clear();
            QVERIFY(!object.writeFile());
            object.contentList.append("a"_q);
            QVERIFY(object.myfile.write("head\n") == 5 && object.writeFile()); // In that order.
            object.path = directory.filePath("b.log"_q);
            QVERIFY(object.openFile()); // Closing the other file first, which writes.
            QCOMPARE(object.myfile.size(), 0);
            object.closeFile();
            QCOMPARE(fileContents(object.path), QByteArray("a\n"));
        }
        QCOMPARE(fileContents(path), QByteArray("line\nline\nhead\na\na\n"));
    }

    void survivesAFullDisk_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("newerSize");
        QTest::addColumn<bool>("isClosedMeanwhile");
        QTest::newRow("short records") << 100 << 1 << false;
        QTest::newRow("a long record") << 20000 << 1 << false;
        QTest::newRow("closed meanwhile") << 20000 << 1 << true;
        QTest::newRow("too much together") << 20000 << 50000 << false;
        QTest::newRow("a record that is too much alone") << 200000 << 1 << false;
    }
    void survivesAFullDisk()
    {
        QFETCH(const int, size);
        QFETCH(const int, newerSize);
        QFETCH(const bool, isClosedMeanwhile);
        const QTemporaryDir directory;
        FileIOObject object(nullptr);
        object.path = directory.filePath("a.log"_q);
        const auto write = [&object](const QByteArray &line) {
            object.contentList = QStringList(QString::fromLatin1(line));
            return object.writeFile() && (object.contentList.clear(), true);
        };
        QVERIFY(object.openFile());
        QVERIFY(write("a"));
        QVERIFY(limitFileSize(50));
        const bool isFirstTaken = write(QByteArray(size, 'b'));
        const bool isSecondTaken = write(QByteArray(newerSize, 'c'));
        if (isClosedMeanwhile)
            object.closeFile();
        QVERIFY(limitFileSize(RLIM_INFINITY));
        QVERIFY(isFirstTaken);
        QVERIFY(isSecondTaken);
        QCOMPARE(fileContents(object.path), QByteArray("a\n"));
        QVERIFY(!isClosedMeanwhile || object.openFile());
        const QByteArray newerRecord = size + newerSize < 65536 ? QByteArray(newerSize, 'c') + '\n' : QByteArray();
        QVERIFY(write("d"));
        QCOMPARE(fileContents(object.path), "a\n" + QByteArray(size, 'b') + '\n' + newerRecord + "d\n");
    }

    void leavesWhatAnotherProcessAppendsToATornRecord()
    {
        const QTemporaryDir directory;
        FileIOObject object(nullptr);
        object.path = directory.filePath("a.log"_q);
        object.contentList.append("a record"_q);
        QVERIFY(object.openFile() && limitFileSize(4));
        static int other = ::open(qPrintable(object.path), O_WRONLY | O_APPEND | O_CLOEXEC);
        std::signal(SIGXFSZ, [](int) {
            if (limitFileSize(RLIM_INFINITY) && ::write(other, "other\n", 6) == 6)
                other = -1;
        });
        QVERIFY(object.writeFile());
        QCOMPARE(other, -1);
        object.closeFile();
        QCOMPARE(fileContents(object.path), QByteArray("a reother\na record\na record\n"));
    }
};

QTEST_GUILESS_MAIN(tst_FileIOObject)
#include "tst_fileioobject.moc"
