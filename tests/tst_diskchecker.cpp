// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/DiskChecker.h>

#include <QTemporaryDir>
#include <QTest>

#include <limits>

class Guard : public DiskChecker
{
    Q_OBJECT

public:
    explicit Guard(const QString &directory, qint64 neededSpace = 1, const QString &filter = "*.log"_q)
        : DiskChecker(nullptr)
    {
        setDir(directory);
        setNeededSpace(neededSpace);
        appendFileFilter(filter);
    }
    using DiskChecker::isDiskFull;
    using DiskChecker::removeOldestFile;
    using DiskChecker::updateFolder;
};

class tst_DiskChecker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_directory.reset(new QTemporaryDir);
        QVERIFY2(m_directory->isValid(), qPrintable(m_directory->errorString()));
        m_path = QFileInfo(m_directory->path()).canonicalFilePath() + "/"_q;
    }

    void cleanup() { QVERIFY(QDir::setCurrent("/"_q)); }

    void keepsTheNewest()
    {
        for (const int excess : {0, 1, 5, 50}) {
            const QStringList names = makeLogs(kFilesKept + excess, m_path);
            Guard guard(m_path);
            const Recorder recorder;
            QVERIFY(guard.checkDisk());
            QCOMPARE(Recorder::messages(), removalsOf(names.mid(0, excess)));
            QCOMPARE(logNames(m_path), names.mid(excess));
            QCOMPARE(QDir::currentPath() + "/"_q, m_path);
            QVERIFY(!guard.updateFolder());
            QVERIFY(!guard.removeOldestFile());
            QVERIFY(makeFile(m_path + "x.log"_q, 0, longAgo()) && guard.updateFolder());
        }
    }

    void neverRemovesTheCurrentFile()
    {
        const QStringList names = makeLogs(kFilesKept + 5, m_path);
        Guard guard(m_path);
        guard.setCurrentLogFile(m_path + names.at(2));
        QVERIFY(guard.checkDisk() && !guard.updateFolder());
        QCOMPARE(logNames(m_path), QStringList(names.at(2)) + names.mid(5));
        guard.setCurrentLogFile(m_path + "./"_q + names.at(2)); // which is compared as text
        QVERIFY(guard.checkDisk());
        QCOMPARE(logNames(m_path), names.mid(5));
    }

    void matchesNamesAsQDirDoes()
    {
        for (const QString &filter : {"a;*.log"_q, "a *.log"_q, QString(), "*"_q, "LOG-*[0-9].l?G"_q}) {
            const QStringList names = makeLogs(kFilesKept + 5, m_path);
            const auto matching = QDir(m_path).entryList({filter}, QDir::Files).size();
            Guard(m_path, 1, filter).updateFolder();
            QCOMPARE(logNames(m_path), names.mid(qMax(0, matching - kFilesKept)));
        }
    }

    void removesNothingInAForeignNamesStead()
    {
        const QStringList names = makeLogs(kFilesKept + 2, m_path);
        const QStringList kept = QStringList{".log"_q, "UPPER.LOG"_q, "folder.log/file"_q,
                                             "log-2020-01-01_00-00-10.txt"_q, "log-2020-01-01_00-00-11.old.log"_q};
        for (const QString &name : kept)
            QVERIFY(makeFile(m_path + name, 0, longAgo()));
        Guard guard(m_path);
        guard.appendFileFilter("*.txt"_q);
        QVERIFY(guard.checkDisk());
        const QStringList left = kept + names.mid(2);
        for (const QString &name : left)
            QVERIFY2(QFile::exists(m_path + name), qPrintable(name));
        QVERIFY(!QFile::exists(m_path + names[0]));
        QVERIFY(!QFile::exists(m_path + names[1]));
    }

    void removesNothingWithoutADirectory()
    {
        const Recorder recorder;
        QVERIFY(Guard(m_path).checkDisk());
        QVERIFY(makeFile(m_path + "note.txt"_q) && Guard(m_path).checkDisk());
        QCOMPARE(makeLogs(kFilesKept + 5, m_path).size(), kFilesKept + 5);
        QVERIFY(!Guard(QString()).checkDisk() && !Guard("/no/"_q).checkDisk());
        QCOMPARE(logNames(m_path).size(), kFilesKept + 5);
        QCOMPARE(Recorder::messages().join("\n"_q).remove("0 Brindlecast/DiskChecker.cpp:"_q),
                 "95 void DiskChecker::listDir(): Dictionary is Empty!\n"
                 "58 bool DiskChecker::isDiskFull(quint64): Dictionary path is invalid  \"\"\n"
                 "58 bool DiskChecker::isDiskFull(quint64): Dictionary path is invalid  \"/no/\""_q);
    }

    void judgesFreeSpace()
    {
        const QString empty = "/proc/"_q; // Nothing can be stored there, so its free space is known: none.
        QVERIFY(Guard(empty, 0).checkDisk());
        QVERIFY(!Guard(empty, 1).checkDisk());
        QVERIFY(!Guard(empty).isDiskFull(0));
        QVERIFY(Guard(empty).isDiskFull(1));
        QVERIFY(!Guard(m_path).isDiskFull(1));
        QVERIFY(!Guard(m_path, std::numeric_limits<qint64>::max()).checkDisk());
        QVERIFY(!Guard(m_path, -1).checkDisk()); // Compared without its sign.
    }

private:
    static QStringList removalsOf(QStringList names)
    {
        const QString told = "0 Brindlecast/DiskChecker.cpp:128 bool DiskChecker::removeOldestFile(): "
                             "The file : \"%1\" is removed"_q;
        for (QString &name : names)
            name = told.arg(name);
        return names;
    }

    QScopedPointer<QTemporaryDir> m_directory;
    QString m_path;
};

QTEST_GUILESS_MAIN(tst_DiskChecker)
#include "tst_diskchecker.moc"
