// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/LogWriterWorker.h>

#include <QTest>

class Worker : public LogWriterWorker
{
    Q_OBJECT

public:
    Worker()
        : LogWriterWorker(nullptr)
    {
    }
    using LogWriterWorker::makeLogFilePath;

    FileIOObjectPointer write(unsigned long category, const QStringList &lines)
    {
        FileIOObjectPointer request(new FileIOObject(nullptr));
        request->category = category;
        request->contentList = lines;
        onHandleIO(request);
        return request;
    }
    void write(unsigned long category, const char *line) { write(category, QStringList{QString::fromLatin1(line)}); }
};

namespace {

constexpr qint64 kLimit = 50LL * 1024 * 1024;

Worker *reentered = nullptr;
unsigned long reenteredCategory = 0;

QString onlyLogPath()
{
    const QStringList names = logNames();
    return names.size() == 1 ? logDirectory() + names.constFirst() : QString();
}

} // namespace

class tst_LogWriterWorker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(removeLogDirectory()); }

    void namesFilesByLocalTime()
    {
        Worker worker;
        QVERIFY(QDir(logDirectory()).exists());
        for (const unsigned long category : {1UL, 4UL, 5UL, 64UL}) {
            QVERIFY(removeLogDirectory());
            const QString format
                = "'%1log-%2'yyyy-MM-dd_HH-mm-ss'.log'"_q.arg(logDirectory(), category == 4 ? "startup"_q : QString());
            const QString before = QDateTime::currentDateTime().toString(format);
            const QString path = worker.makeLogFilePath(category);
            QVERIFY(QDir(logDirectory()).exists());
            QVERIFY2(before <= path && path <= QDateTime::currentDateTime().toString(format), qPrintable(path));
        }
    }

    void appendsRequestsInOrder()
    {
        Worker worker;
        worker.onClearData();
        worker.onHandleIO(FileIOObjectPointer());
        QVERIFY(logNames().isEmpty());
        worker.write(64, QStringList());
        QVERIFY(QFile::exists(onlyLogPath()) && writtenLogs().isEmpty());
        const FileIOObjectPointer request = worker.write(64, {"a"_q, "b\n"_q});
        QVERIFY(request->contentList.size() == 2 && request->path.isEmpty() && request->state == eIONONE);
        // Files begun in one second share it; ones begun later follow in the order of their names.
        worker.write(8, "c");
        worker.onClearData();
        worker.write(64, "d");
        worker.write(4, "e");
        QCOMPARE(writtenLogs(), QByteArray("a\nb\n\nc\nd\ne\n"));
        QVERIFY(logNames().constLast().startsWith("log-startup"_q));
    }

    void replacesTheFileAtTheLimit()
    {
        // Category, size found, size in the end, and what is in the next file. The startup file is never replaced.
        const std::tuple<unsigned long, qint64, qint64, QByteArray> rows[]
            = {{2, kLimit - 1, kLimit + 6, "third\n"},
               {2, kLimit, kLimit, "second\nthird\n"},
               {1, 100 * kLimit, 100 * kLimit, "second\nthird\n"}, // Above 32 bits.
               {4, kLimit, kLimit + 13, ""}};
        for (const auto &[category, size, grownTo, inNextFile] : rows) {
            QVERIFY(removeLogDirectory());
            Worker worker;
            worker.write(category, "first");
            // Out of the way of its successor, which gets the same name when it is made in the same second.
            const QString aside = logDirectory() + "aside"_q;
            QVERIFY(QFile::rename(onlyLogPath(), aside) && QFile::resize(aside, size));
            worker.write(category, "second");
            worker.write(category, "third");
            QCOMPARE(QFileInfo(aside).size(), grownTo);
            QCOMPARE(writtenLogs(), inNextFile);
        }
    }

    void staysSilentAfterAFailedReplacement()
    {
        const QString directory = logDirectory().chopped(1);
        Worker worker;
        worker.write(1, "first");
        QVERIFY(QFile::resize(onlyLogPath(), kLimit) && removeLogDirectory() && makeFile(directory));
        const QString earliest = worker.makeLogFilePath(1);
        worker.write(1, "lost");
        const QString latest = worker.makeLogFilePath(1);
        QVERIFY(removeLogDirectory() && QDir().mkdir(directory));
        worker.write(1, "silent");
        worker.write(4, "another category");
        QCOMPARE(writtenLogs(), QByteArray("another category\n"));
        // A file of that size in its stead makes it begin another one.
        QVERIFY(makeFile(earliest, kLimit) && makeFile(latest, kLimit));
        worker.write(1, "resumed");
        QVERIFY(writtenLogs().contains("resumed\n") && !writtenLogs().contains("silent"));
    }

    void thinsTheDirectoryOncePerName()
    {
        const QString currentPath = QDir::currentPath();
        Worker worker;
        worker.write(2, "a");
        QVERIFY(makeFile(onlyLogPath(), 0, longAgo()));
        const QStringList old = makeLogs(25);
        worker.write(4, "b");
        QCOMPARE(logNames().size(), 10);
        QCOMPARE(logNames().mid(0, 9), old.mid(16));
        QCOMPARE(QDir::currentPath(), currentPath);
        worker.write(2, "c"); // Its file was removed.
        QCOMPARE(makeLogs(25).size(), 25);
        worker.write(4, "d");
        QCOMPARE(logNames().size(), 27);
        QCOMPARE(writtenLogs(), QByteArray("c\nb\nd\n"));
    }

    void takesTheGuardsMessages()
    {
        // Into the file that was just begun, and into one that they begin.
        for (const unsigned long category : {4UL, 1UL}) {
            QVERIFY(removeLogDirectory() && !makeLogs(25).isEmpty());
            Worker worker;
            reentered = &worker;
            reenteredCategory = category;
            const auto handler = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
                reentered->write(reenteredCategory, QStringList{text});
            });
            worker.write(4, "first");
            worker.write(4, "second");
            qInstallMessageHandler(handler);
            const int removals = category == 4 ? 16 : 17;
            QCOMPARE(logNames().size(), 10);
            QCOMPARE(writtenLogs().count("The file : \"log-2020-"), removals);
            QVERIFY(writtenLogs().contains("first\n") && writtenLogs().contains("second\n"));
            QCOMPARE(writtenLogs().count('\n'), removals + 2);
        }
    }
};

QTEST_GUILESS_MAIN(tst_LogWriterWorker)
#include "tst_logwriterworker.moc"
