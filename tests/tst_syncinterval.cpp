// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/QtDebugLogger.h>

#include <QElapsedTimer>
#include <QTest>

#include <atomic>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::atomic<int> fileSyncs{0};
std::atomic<int> folderSyncs{0};
std::atomic<qint64> syncedBytes{0}; // Of the file that was synced last.
std::atomic<bool> isStalled{false};

bool isFolder(int descriptor)
{
    struct stat status = {};
    ::fstat(descriptor, &status);
    if (S_ISREG(status.st_mode))
        syncedBytes.store(status.st_size);
    return S_ISDIR(status.st_mode);
}

// No variable here: the address sanitizer misses that a cancelled thread leaves its stack.
int sync(const char *name, int descriptor)
{
    while (isStalled.load())
        ::usleep(1000);
    (isFolder(descriptor) ? folderSyncs : fileSyncs).fetch_add(1);
    return reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, name))(descriptor);
}

} // namespace

// In the place of the C library's, and like those points where a thread can be cancelled.
extern "C" Q_DECL_EXPORT int fdatasync(int descriptor)
{
    return sync("fdatasync", descriptor);
}

extern "C" Q_DECL_EXPORT int fsync(int descriptor)
{
    return sync("fsync", descriptor);
}

class tst_SyncInterval : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(removeLogDirectory());
        logger->setLogCategoryEnabled(true, 1);
        logger->enableOutputFile();
    }

    void init()
    {
        logger->setSyncInterval(0);
        QVERIFY(logger->flush(10000));
        logger->clearData();
        logger->setLogCategoryEnabled(true, 1);
        QVERIFY(logger->flush(10000));
        fileSyncs = folderSyncs = 0;
        syncedBytes = 0;
    }

    void cleanupTestCase() { logger->disableOutputFile(); }

    void bringsLinesToStorage_data()
    {
        QTest::addColumn<int>("intervalMs");
        QTest::addColumn<bool>("isCritical");
        QTest::addColumn<bool>("isSeenByHost");
        QTest::addColumn<int>("leastMs");
        QTest::addColumn<int>("mostMs");
        QTest::newRow("the last line before a silence") << 300 << false << false << 250 << 5000;
        QTest::newRow("a critical line") << 60000 << true << false << 0 << 5000;
        QTest::newRow("a line that a host sees") << 300 << false << true << 250 << 5000;
        QTest::newRow("a critical line that a host sees") << 60000 << true << true << 0 << 5000;
    }
    void bringsLinesToStorage()
    {
        QFETCH(int, intervalMs);
        QFETCH(bool, isCritical);
        QFETCH(bool, isSeenByHost);
        QFETCH(int, leastMs);
        QFETCH(int, mostMs);
        if (isSeenByHost)
            connect(
                logger, &QtDebugLogger::handleIOSignal, this, [] {}, Qt::DirectConnection);
        logger->setSyncInterval(intervalMs);
        QElapsedTimer timer;
        timer.start();
        qDebug("before");
        isCritical ? qCritical("critical") : qDebug("last");
        QTRY_VERIFY_WITH_TIMEOUT(folderSyncs.load() == 1, mostMs);
        QVERIFY2(timer.elapsed() >= leastMs, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(fileSyncs.load(), 1);
        QVERIFY(logger->flush(10000));
        QTRY_COMPARE(syncedBytes.load(), qint64(fileContents(logDirectory() + logNames().constLast()).size()));

        // The name is in storage by now, and a silence costs nothing.
        qDebug("one more");
        QTRY_COMPARE_WITH_TIMEOUT(fileSyncs.load(), intervalMs < 60000 ? 2 : 1, 5000);
        QTest::qWait(400);
        QCOMPARE(fileSyncs.load(), intervalMs < 60000 ? 2 : 1);
        QCOMPARE(folderSyncs.load(), 1);
    }

    void syncsNothingUnlessAsked()
    {
        for (const int intervalMs : {0, -1}) {
            logger->setSyncInterval(intervalMs);
            qCritical("critical");
            logger->stopThread();
            logger->startThread();
            logger->disableOutputFile();
            logger->enableOutputFile();
            QVERIFY(logger->flush(10000));
        }
        QCOMPARE(fileSyncs.load() + folderSyncs.load(), 0);
    }

    void boundsAFloodOfCriticalLines()
    {
        logger->setSyncInterval(60000);
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 1000)
            qCritical("flood");
        QVERIFY(logger->flush(10000));
        const int most = static_cast<int>(timer.elapsed() / 100 + 2);
        QVERIFY2(fileSyncs.load() >= 3 && fileSyncs.load() <= most, qPrintable(QString::number(fileSyncs.load())));
        // And its last lines are not forgotten.
        const qint64 size = fileContents(logDirectory() + logNames().constLast()).size();
        QTRY_COMPARE(syncedBytes.load(), size);
    }

    void syncsWhatNobodyWillSyncLater_data()
    {
        QTest::addColumn<bool>("stops");
        QTest::newRow("a file that is closed") << false;
        QTest::newRow("everything, when the thread is stopped") << true;
    }
    void syncsWhatNobodyWillSyncLater()
    {
        QFETCH(bool, stops);
        logger->setSyncInterval(60000);
        qDebug("line");
        QVERIFY(logger->flush(10000));
        QCOMPARE(fileSyncs.load(), 0);
        if (stops) {
            logger->stopThread();
            logger->startThread();
        } else {
            logger->disableOutputFile();
            logger->enableOutputFile();
            QVERIFY(logger->flush(10000));
        }
        QCOMPARE(fileSyncs.load(), 1);
    }

    void isCutOffInAStalledSync()
    {
        logger->setSyncInterval(50);
        isStalled = true;
        qDebug("written");
        QVERIFY(logger->flush(10000));
        const QString name = logNames().constLast();
        const QByteArray written = fileContents(logDirectory() + name);
        QTest::qWait(200); // Until the writer thread hangs in the sync, as far as one can tell.
        QElapsedTimer timer;
        timer.start();
        qDebug("raised meanwhile");
        logger->stopThread();
        const qint64 elapsed = timer.elapsed();
        isStalled = false;
        QVERIFY2(elapsed > 1500 && elapsed < 6000, qPrintable(QString::number(elapsed)));
        QCOMPARE(fileSyncs.load(), 0);

        logger->startThread();
        QVERIFY(logger->flush(10000));
        QTRY_VERIFY(fileSyncs.load() > 0);
        // Nothing is lost, nor doubled, and the file goes on.
        const QByteArray all = fileContents(logDirectory() + name);
        QVERIFY(all.startsWith(written));
        QCOMPARE(all.count('\n'), written.count('\n') + 2);
        QVERIFY2(all.endsWith("raised meanwhile\n\n"), all.constData());
    }

private:
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
};

QTEST_GUILESS_MAIN(tst_SyncInterval)

#include "tst_syncinterval.moc"
