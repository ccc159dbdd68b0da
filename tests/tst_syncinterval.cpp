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
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" Q_DECL_EXPORT int fdatasync(int descriptor)
{
    return sync("fdatasync", descriptor);
}

extern "C" Q_DECL_EXPORT int fsync(int descriptor)
{
    return sync("fsync", descriptor);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

class tst_SyncInterval : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(removeLogDirectory());
        m_logger->setLogCategoryEnabled(true, 1);
        m_logger->enableOutputFile();
    }

    void init()
    {
        m_logger->setSyncInterval(0);
        QVERIFY(m_logger->flush(10000));
        m_logger->clearData();
        m_logger->setLogCategoryEnabled(true, 1);
        QVERIFY(m_logger->flush(10000));
        QVERIFY(removeLogDirectory());
        fileSyncs = folderSyncs = 0;
        syncedBytes = 0;
    }

    void cleanupTestCase() { m_logger->disableOutputFile(); }

    void bringsLinesToStorage_data()
    {
        QTest::addColumn<bool>("isCritical");
        QTest::addColumn<bool>("isSeenByHost");
        QTest::newRow("the last line before a silence") << false << false;
        QTest::newRow("a critical line") << true << false;
        QTest::newRow("a line that a host sees") << false << true;
        QTest::newRow("a critical line that a host sees") << true << true;
    }
    void bringsLinesToStorage()
    {
        QFETCH(bool, isCritical);
        QFETCH(bool, isSeenByHost);
        const auto observe = [] {};
        if (isSeenByHost)
            connect(m_logger, &QtDebugLogger::handleIOSignal, this, observe, Qt::DirectConnection);
        m_logger->setSyncInterval(isCritical ? 60000 : 300);
        QElapsedTimer timer;
        timer.start();
        qDebug("before");
        isCritical ? qCritical("critical") : qDebug("last");
        QTRY_COMPARE(folderSyncs.load(), 1);
        QVERIFY2(isCritical || timer.elapsed() >= 250, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(fileSyncs.load(), 1);
        QVERIFY(m_logger->flush(10000));
        QTRY_COMPARE(syncedBytes.load(), qint64(writtenLogs().size()));

        // The name is in storage by now, and a silence costs nothing.
        qDebug("one more");
        QTRY_COMPARE(fileSyncs.load(), isCritical ? 1 : 2);
        QTest::qWait(400);
        QCOMPARE(fileSyncs.load(), isCritical ? 1 : 2);
        QCOMPARE(folderSyncs.load(), 1);
    }

    void syncsWhatIsClosed()
    {
        for (const bool stops : {false, true}) { // The thread; otherwise the file is closed.
            for (const int intervalMs : {-1, 0, 60000}) {
                init();
                m_logger->setSyncInterval(intervalMs);
                intervalMs > 0 ? qDebug("line") : qCritical("line");
                QVERIFY(m_logger->flush(10000));
                QCOMPARE(fileSyncs.load(), 0);
                stops ? m_logger->stopThread() : m_logger->disableOutputFile();
                m_logger->enableOutputFile();
                QVERIFY(m_logger->flush(10000));
                QCOMPARE(fileSyncs.load(), intervalMs / 60000);
                QCOMPARE(folderSyncs.load(), intervalMs / 60000);
            }
        }
    }

    void boundsAFloodOfCriticalLines()
    {
        m_logger->setSyncInterval(60000);
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 1000)
            qCritical("flood");
        QVERIFY(m_logger->flush(10000));
        const int most = static_cast<int>(timer.elapsed() / 100 + 2);
        const int syncs = fileSyncs.load();
        QVERIFY2(syncs >= 3, qPrintable(QString::number(syncs)));
        QVERIFY2(syncs <= most, qPrintable(QString::number(syncs)));
        QTRY_COMPARE(syncedBytes.load(), qint64(writtenLogs().size())); // Its last lines are not forgotten.
    }

    void isCutOffInAStalledSync()
    {
        m_logger->setSyncInterval(50);
        isStalled = true;
        qDebug("written");
        QVERIFY(m_logger->flush(10000));
        const QByteArray written = writtenLogs();
        QTest::qWait(200); // Until the writer thread hangs in the sync, as far as one can tell.
        QElapsedTimer timer;
        timer.start();
        qDebug("raised meanwhile");
        m_logger->stopThread();
        const qint64 elapsed = timer.elapsed();
        isStalled = false;
        QVERIFY2(elapsed > 1500, qPrintable(QString::number(elapsed)));
        QVERIFY2(elapsed < 6000, qPrintable(QString::number(elapsed)));
        QCOMPARE(fileSyncs.load(), 0);

        m_logger->startThread();
        QVERIFY(m_logger->flush(10000));
        QTRY_VERIFY(fileSyncs.load() > 0);
        // Nothing is lost, nor doubled, and the file goes on.
        const QByteArray all = writtenLogs();
        QVERIFY(all.startsWith(written));
        QCOMPARE(all.count('\n'), written.count('\n') + 2);
        QVERIFY2(all.endsWith("raised meanwhile\n\n"), all.constData());
    }

private:
    QtDebugLogger *const m_logger = QtDebugLogger::getInstance();
};

QTEST_GUILESS_MAIN(tst_SyncInterval)

#include "tst_syncinterval.moc"
