// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/DiskSpaceChecker.h>

#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>

class tst_DiskSpaceChecker : public QObject
{
    Q_OBJECT

    DiskSpaceChecker m_checker{nullptr};

private Q_SLOTS:
    void tellsTheRoomOfAVolume()
    {
        const Recorder recorder;
        QVERIFY(m_checker.getFreeDisk("/no/such/path"_q) == -1 && m_checker.getFreeDisk(QString()) == -1);
        QCOMPARE(Recorder::messages(), QStringList());
        const QStorageInfo volume("/proc"_q); // nothing on it changes meanwhile
        QCOMPARE(m_checker.getFreeDisk("/proc"_q), volume.bytesAvailable());
        Recorder::messages().clear();
        const qint64 available = m_checker.getFreeDisk(QDir::tempPath());
        const QStorageInfo disk(QDir::tempPath());
        QVERIFY(qAbs(available - disk.bytesAvailable()) < 1000000000);
        const QString site
            = "0 Brindlecast/DiskSpaceChecker.cpp:%1 qint64 DiskSpaceChecker::getFreeDisk(const QString&): "_q;
        QCOMPARE(Recorder::messages(),
                 QStringList({site.arg(45) + "disk name:  \"%1\""_q.arg(disk.name()),
                              site.arg(46) + "disk size:  %1 MB"_q.arg(disk.bytesTotal() / 1000000),
                              site.arg(48) + "availableSize:  %1 MB"_q.arg(available / 1000000)}));
    }

    void sumsTheFilesOfATree()
    {
        const QTemporaryDir folder;
        const QTemporaryDir elsewhere;
        const QDir root(folder.path());
        QCOMPARE(m_checker.dirFileSize(folder.path()), 0ULL);
        QVERIFY(root.mkdir("empty"_q));
        QVERIFY(makeFile(root.filePath("a.log"_q), 100) && makeFile(root.filePath("sub/deeper/b.log"_q), 50));
        QVERIFY(makeFile(root.filePath(".h"_q), 10) && makeFile(root.filePath(".hidden/c.log"_q), 1000));
        QCOMPARE(m_checker.dirFileSize(folder.path()), 150ULL);
        QVERIFY(m_checker.dirFileSize(root.filePath("a.log"_q)) == 100
                && !m_checker.dirFileSize(root.filePath("none"_q)));

        QVERIFY(QFile::link(root.path(), root.filePath("sub/loop"_q)) && QFile::link("."_q, root.filePath("self"_q)));
        QVERIFY(makeFile(elsewhere.filePath("c.log"_q), 9) && QFile::link(elsewhere.path(), root.filePath("out"_q)));
        QVERIFY(QFile::link("nowhere"_q, root.filePath("dangling"_q)));
        QCOMPARE(m_checker.dirFileSize(folder.path()), 150ULL);
        QVERIFY(QFile::link(root.filePath("a.log"_q), root.filePath("sub/link"_q))); // counts as what it leads to
        QVERIFY(makeFile(root.filePath("sub/big.log"_q), 5LL << 30));
        QCOMPARE(m_checker.dirFileSize(folder.path()), 250ULL + (5ULL << 30));
    }
};

QTEST_GUILESS_MAIN(tst_DiskSpaceChecker)

#include "tst_diskspacechecker.moc"
