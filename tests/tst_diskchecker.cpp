// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/DiskChecker.h>

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

class Guard : public DiskChecker
{
    Q_OBJECT

public:
    explicit Guard(const QString &directory, qint64 neededSpace = 1)
        : DiskChecker(nullptr)
    {
        setDir(directory);
        setNeededSpace(neededSpace);
        appendFileFilter(QStringLiteral("*.log"));
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
        m_path = QFileInfo(m_directory->path()).canonicalFilePath() + QLatin1Char('/');
    }

    void cleanup() { QVERIFY(QDir::setCurrent(QStringLiteral("/"))); }

    void keepsTheTenNewest()
    {
        for (const int count : {10, 11, 15, 60}) {
            const QStringList names = makeLogs(count, m_path);
            Guard guard(m_path);
            QCOMPARE(messagesOf([&guard] { QVERIFY(guard.checkDisk()); }), removalsOf(names.mid(0, count - 10)));
            QCOMPARE(logNames(m_path), names.mid(count - 10));
            QCOMPARE(QDir::currentPath() + QLatin1Char('/'), m_path);
            QVERIFY(!guard.updateFolder() && !guard.removeOldestFile());
            QVERIFY(makeFile(m_path + QStringLiteral("x.log"), 1) && guard.updateFolder());
        }
    }

    void neverRemovesTheCurrentFile()
    {
        const QString spellings[] = {QStringLiteral("%1%2"), QStringLiteral("%1./%2")};
        for (const QString &spelling : spellings) {
            const QStringList names = makeLogs(15, m_path);
            Guard guard(m_path);
            guard.setCurrentLogFile(spelling.arg(m_path, names.at(2)));
            QVERIFY(guard.checkDisk() && !guard.updateFolder());
            QCOMPARE(logNames(m_path).size(), spelling == spellings[0] ? 11 : 10);
            QCOMPARE(logNames(m_path).contains(names.at(2)), spelling == spellings[0]);
        }
    }

    void ordersByTheTrueInstantThenByName()
    {
        // Central Europe: 00:50 UTC reads 02:50 on the clock, 01:10 UTC reads 02:10.
        const QByteArray formerZone = qgetenv("TZ");
        qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
        ::tzset();
        constexpr qint64 kMidnight = 1792886400; // 2026-10-25
        QStringList names = {QStringLiteral("older.log"), QStringLiteral("newer.log")};
        QVERIFY(makeFile(m_path + names[0], kMidnight + 3000) && makeFile(m_path + names[1], kMidnight + 4200));
        const QString letters = QStringLiteral("KaBcDeFgHi");
        for (const QChar letter : letters)
            QVERIFY(makeFile(m_path + letter + QStringLiteral(".log"), kMidnight + 86400));
        names.append(QDir(m_path).entryList(QDir::Files, QDir::Time).at(9));
        const QStringList messages = messagesOf([this] {
            QVERIFY(Guard(m_path).updateFolder());
            QVERIFY(makeFile(m_path + QStringLiteral("x.log"), kMidnight + 86401) && Guard(m_path).updateFolder());
        });
        formerZone.isEmpty() ? qunsetenv("TZ") : qputenv("TZ", formerZone);
        ::tzset();
        QCOMPARE(messages, removalsOf(names));
    }

    void removesNothingInAForeignNamesStead()
    {
        const QStringList names = makeLogs(12, m_path);
        const QStringList foreign
            = {QStringLiteral("UPPER.LOG"), QStringLiteral("log-2020-01-01_00-00-11.old.log"), QStringLiteral(".log"),
               QStringLiteral("log-2020-01-01_00-00-10.txt"), QStringLiteral("folder.log/file")};
        for (const QString &name : foreign)
            QVERIFY(makeFile(m_path + name, 1000000000));
        Guard guard(m_path);
        guard.appendFileFilter(QStringLiteral("*.txt"));
        QVERIFY(guard.checkDisk());
        QCOMPARE(logNames(m_path).filter(QStringLiteral("2020")).size(), 11);
        const QStringList kept = foreign + names.mid(2);
        for (const QString &name : kept)
            QVERIFY2(QFile::exists(m_path + name), qPrintable(name));
    }

    void removesNothingWithoutADirectory()
    {
        const QStringList messages = messagesOf([this] {
            QVERIFY(Guard(m_path).checkDisk());
            QVERIFY(makeFile(m_path + QStringLiteral("note.txt"), 1) && Guard(m_path).checkDisk());
            QCOMPARE(makeLogs(15, m_path).size(), 15);
            QVERIFY(!Guard(QString()).checkDisk() && !Guard(QStringLiteral("/no/")).checkDisk());
        });
        QCOMPARE(logNames(m_path).size(), 15);
        const QString place = QStringLiteral("0|Brindlecast/DiskChecker.cpp|");
        const QString full
            = place + QStringLiteral("58|bool DiskChecker::isDiskFull(quint64)|Dictionary path is invalid  ");
        QCOMPARE(messages,
                 (QStringList{place + QStringLiteral("95|void DiskChecker::listDir()|Dictionary is Empty!"),
                              full + QStringLiteral("\"\""), full + QStringLiteral("\"/no/\"")}));
    }

    void judgesFreeSpace()
    {
        const QString empty
            = QStringLiteral("/proc/"); // Nothing can be stored there, so its free space is known: none.
        QVERIFY(Guard(empty, 0).checkDisk() && !Guard(empty).isDiskFull(0));
        QVERIFY(!Guard(empty, 1).checkDisk() && Guard(empty).isDiskFull(1));
        QVERIFY(!Guard(m_path).isDiskFull(1) && !Guard(m_path, std::numeric_limits<qint64>::max()).checkDisk());
        QVERIFY(!Guard(m_path, -1).checkDisk()); // Compared without its sign.
    }

private:
    static QStringList removalsOf(QStringList names)
    {
        const auto place = QStringLiteral("0|Brindlecast/DiskChecker.cpp|128|bool DiskChecker::removeOldestFile()|");
        return names.replaceInStrings(QRegularExpression(QStringLiteral("(.+)")),
                                      place + QStringLiteral("The file : \"\\1\" is removed"));
    }

    QScopedPointer<QTemporaryDir> m_directory;
    QString m_path;
};

QTEST_GUILESS_MAIN(tst_DiskChecker)
#include "tst_diskchecker.moc"
