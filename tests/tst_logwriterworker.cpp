// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/LogWriterWorker.h>

#include <QTest>

class Worker : public LogWriterWorker
{
    Q_OBJECT

public:
    using LogWriterWorker::LogWriterWorker;
    using LogWriterWorker::makeLogFilePath;

    FileIOObjectPointer write(unsigned long category, const QStringList &lines)
    {
        FileIOObjectPointer request(new FileIOObject(nullptr));
        request->category = category;
        request->contentList = lines;
        onHandleIO(request);
        return request;
    }
};

namespace {

constexpr qint64 kLimit = kFileSizeLimit;

QString onlyLogPath()
{
    return logNames().size() == 1 ? logDirectory() + logNames().constFirst() : QString();
}

} // namespace

class tst_LogWriterWorker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(removeLogDirectory()); }

    void namesFilesByLocalTime()
    {
        Worker worker(nullptr);
        QVERIFY(QDir(logDirectory()).exists());
        for (const unsigned long category : {1UL, 4UL, 5UL, 64UL}) {
            QVERIFY(removeLogDirectory());
            const QString kind = category == 4 ? "log-startup"_q : "log-"_q;
            const QString format = "'%1%2'yyyy-MM-dd_HH-mm-ss'.log'"_q.arg(logDirectory(), kind);
            const QString before = QDateTime::currentDateTime().toString(format);
            const QString path = worker.makeLogFilePath(category);
            QVERIFY(QDir(logDirectory()).exists());
            QVERIFY2(before <= path, qPrintable(path));
            QVERIFY2(path <= QDateTime::currentDateTime().toString(format), qPrintable(path));
        }
    }

    void appendsRequestsInOrder()
    {
        Worker worker(nullptr);
        worker.onClearData();
        worker.onHandleIO(FileIOObjectPointer());
        QVERIFY(logNames().isEmpty());
        worker.write(64, {});
        QVERIFY(QFile::exists(onlyLogPath()));
        QCOMPARE(writtenLogs(), QByteArray());
        const auto request = worker.write(64, {"a"_q, "b\n"_q});
        QCOMPARE(request->contentList.size(), 2);
        QCOMPARE(request->path, QString());
        QCOMPARE(request->state, eIONONE);
        // Files begun in one second share it; ones begun later follow in the order of their names.
        worker.write(8, {"c"_q});
        worker.onClearData();
        worker.write(64, {"d"_q});
        worker.write(4, {"e"_q});
        QCOMPARE(writtenLogs(), QByteArray("a\nb\n\nc\nd\ne\n"));
        QVERIFY(logNames().constLast().startsWith("log-startup"_q));
    }

    void replacesTheFileAtTheLimit_data()
    {
        QTest::addColumn<unsigned long>("category");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<qint64>("grownTo");
        QTest::addColumn<QByteArray>("inNextFile");
        QTest::newRow("a byte below") << 2UL << kLimit - 1 << kLimit + 6 << QByteArray("third\n");
        QTest::newRow("at the limit") << 2UL << kLimit << kLimit << QByteArray("second\nthird\n");
        QTest::newRow("above 32 bits") << 1UL << 100 * kLimit << 100 * kLimit << QByteArray("second\nthird\n");
        QTest::newRow("the startup file") << 4UL << kLimit << kLimit + 13 << QByteArray();
    }
    void replacesTheFileAtTheLimit()
    {
        QFETCH(const unsigned long, category);
        QFETCH(const qint64, size);
        Worker worker(nullptr);
        worker.write(category, {"first"_q});
        // Out of the way of its successor, which gets the same name when it is made in the same second.
        const QString aside = logDirectory() + "aside"_q;
        QVERIFY(QFile::rename(onlyLogPath(), aside));
        QVERIFY(QFile::resize(aside, size));
        worker.write(category, {"second"_q});
        worker.write(category, {"third"_q});
        QTEST(QFileInfo(aside).size(), "grownTo");
        QTEST(writtenLogs(), "inNextFile");
    }

    void thinsTheDirectoryOncePerName()
    {
        const QString currentPath = QDir::currentPath();
        Worker worker(nullptr);
        worker.write(2, {"a"_q});
        QVERIFY(makeFile(onlyLogPath(), 0, longAgo()));
        const QStringList old = makeLogs(kFilesKept + 15);
        worker.write(4, {"b"_q});
        QCOMPARE(logNames().size(), kFilesKept);
        QCOMPARE(logNames().mid(0, kFilesKept - 1), old.mid(16));
        QCOMPARE(QDir::currentPath(), currentPath);
        worker.write(2, {"c"_q}); // Its file was removed.
        QCOMPARE(makeLogs(kFilesKept + 15).size(), kFilesKept + 15);
        worker.write(4, {"d"_q});
        QCOMPARE(logNames().size(), kFilesKept + 17);
        QCOMPARE(writtenLogs(), QByteArray("c\nb\nd\n"));
    }
};

QTEST_GUILESS_MAIN(tst_LogWriterWorker)
#include "tst_logwriterworker.moc"
