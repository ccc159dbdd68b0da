// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/QtDebugLogger.h>

#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

#include <climits>

class Logger : public QtDebugLogger
{
    Q_OBJECT

public:
    using QtDebugLogger::appendLog;
    using QtDebugLogger::outputMessage;
};

namespace {

constexpr int kEnoughMs = 60000;

QtDebugLogger *logger()
{
    return QtDebugLogger::getInstance();
}

void append(const char *line, unsigned long category = 1)
{
    (logger()->*&Logger::appendLog)(QString::fromLatin1(line), category);
}

// What the console has taken.
QStringList &taken()
{
    static QStringList lines;
    return lines;
}

// The requests that the logger sends during its life.
class Requests : public QSignalSpy
{
    Q_OBJECT

public:
    Requests()
        : QSignalSpy(logger(), &QtDebugLogger::handleIOSignal)
    {
    }
    FileIOObjectPointer last() const { return constLast().constFirst().value<FileIOObjectPointer>(); }
    QString lastLine() const { return last()->contentList.join("another line: "_q); }
};

// Stands in for the console, as the handler before the logger's: notes each message and whether its line is in the file
// by then, and calls the logger's handler in its turn.
void takeAsConsole(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    // The line of a fatal message has been waited for.
    const bool isFlushed = type == QtFatalMsg || logger()->flush(kEnoughMs);
    const bool isWritten = isFlushed && writtenLogs().contains(text.toUtf8() + '\n');
    taken() += text + (isWritten ? ": in the file"_q : ": not there"_q);
    Logger::outputMessage(type, context, text);
}

} // namespace

class tst_QtDebugLogger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(removeLogDirectory());
        const QtMessageHandler before = Recorder().formerHandler;
        const Requests requests;
        for (unsigned long category = 0; category <= 256; ++category)
            append("line", category);
        Logger::outputMessage(QtDebugMsg, QMessageLogContext(), "text"_q);
        QVERIFY(Recorder().formerHandler == before);
        QVERIFY(requests.isEmpty());
        QVERIFY(QDir(logDirectory()).exists());
        QVERIFY(QDir(logDirectory()).isEmpty());
    }

    void init()
    {
        logger()->disableOutputFile();
        logger()->clearData();
        logger()->startThread();
        QVERIFY(logger()->flush(kEnoughMs));
        QVERIFY(removeLogDirectory());
        logger()->setLogCategoryEnabled(true, 1);
    }

    void passesEnabledCategoriesOn()
    {
        for (const unsigned long mask : {0UL, 3UL, 66UL, 128UL, 255UL, ULONG_MAX}) {
            for (const bool isEnabled : {true, false}) {
                logger()->clearData();
                logger()->setLogCategoryEnabled(true, isEnabled ? 0 : 127);
                logger()->setLogCategoryEnabled(isEnabled, mask);
                const Requests requests;
                for (unsigned long category = 0; category <= 1024; ++category)
                    append("line\n", category);
                unsigned long passed = 0;
                for (const QVariantList &arguments : requests)
                    passed += arguments.constFirst().value<FileIOObjectPointer>()->category;
                QCOMPARE(passed, isEnabled ? mask & 127 : 127 & ~mask);
            }
        }
    }

    void raisesMessagesOfItsOwn()
    {
        using Raise = void (QtDebugLogger::*)(const QString &);
        const std::tuple<QString, Raise, QtMsgType, int> operations[]
            = {{"debug"_q, &QtDebugLogger::debug, QtDebugMsg, 134},
               {"information"_q, &QtDebugLogger::information, QtInfoMsg, 147},
               {"warning"_q, &QtDebugLogger::warning, QtWarningMsg, 160},
               {"critical"_q, &QtDebugLogger::critical, QtCriticalMsg, 173}};
        const QString expectedMessage = "%1 Brindlecast/QtDebugLogger.cpp:%2 void QtDebugLogger::%3(const QString&): "
                                        "Brindlecast/QtDebugLogger.cpp %3 %2 \"a \\\"b\\\"\\n\u00e4\""_q;
        for (const auto &[name, raise, type, line] : operations) {
            const Recorder recorder;
            (logger()->*raise)("a \"b\"\n\u00e4"_q);
            QCOMPARE(Recorder::messages(), QStringList(expectedMessage.arg(type).arg(line).arg(name)));
        }
    }

    void takesTheHandlerOverAndBack()
    {
        const QtMessageHandler defaultHandler = Recorder().formerHandler;
        const QtMessageHandler ours = &Logger::outputMessage;
        const QSignalSpy clears(logger(), &QtDebugLogger::clearSignal);
        logger()->enableOutputFile();
        logger()->enableOutputFile();
        append("a");
        logger()->stopThread();
        logger()->stopThread();
        QVERIFY(Recorder().formerHandler == ours);
        QVERIFY(clears.isEmpty());
        append("b");
        logger()->disableOutputFile();
        QVERIFY(Recorder().formerHandler == defaultHandler);
        QCOMPARE(clears.size(), 1);
        append("c");
        qDebug("goes to the default output");
        QElapsedTimer timer;
        timer.start();
        QVERIFY2(!logger()->flush(kEnoughMs), "nobody writes");
        QVERIFY2(timer.elapsed() < kEnoughMs / 10, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(!writtenLogs().contains('b'));
        logger()->startThread();
        logger()->startThread();
        QVERIFY(logger()->flush(-5));
        QVERIFY(Recorder().formerHandler == defaultHandler);
        QCOMPARE(writtenLogs(), QByteArray("a\nb\nc\n"));
    }

    void forwardsWhatIsQueued()
    {
        const QtMessageHandler formerHandler = qInstallMessageHandler(takeAsConsole);
        logger()->enableOutputFile();
        logger()->enableOutputFile(); // It must not become its own former handler.
        qDebug("only the file");
        logger()->setForwarding(true);
        qDebug("both");
        logger()->setLogCategoryEnabled(false, 1);
        qDebug("only the console");
        logger()->setLogCategoryEnabled(true, 1);
        logger()->setFatalFlushTimeout(kEnoughMs);
        Logger::outputMessage(QtFatalMsg, {"a/b", 1, "function", "category"}, "the end"_q);
        logger()->setFatalFlushTimeout(0);
        logger()->setForwarding(false);
        qDebug("only the file again");
        qInstallMessageHandler(formerHandler);
        QCOMPARE(taken().join(" | "_q), "both: in the file | only the console: not there | the end: in the file"_q);
        QVERIFY(logger()->flush(kEnoughMs));
        QCOMPARE(writtenLogs().count('>'), 4);
    }

    void writesAnyText()
    {
        const QString texts[] = {QString(), QString(10000000, QChar(0xe4)), QChar(0xde00) + "a"_q + QChar(0xd83d),
                                 "a%1b"_q.arg(QChar(0)), "a\n\nb\r\nc\u2028d"_q};
        QByteArray expected;
        logger()->enableOutputFile();
        for (const QString &text : texts) {
            const Requests requests;
            QMessageLogger(nullptr, 0, nullptr).debug().noquote().nospace() << text;
            const QString shown = text.isEmpty() ? "-"_q : text;
            QCOMPARE(requests.last()->category, 1UL);
            QVERIFY(requests.lastLine().mid(22) == "<Debug:>  0: "_q + shown + QLatin1Char('\n')); // Too long to print.
            expected += requests.lastLine().toUtf8() + '\n';
        }
        QVERIFY(logger()->flush(kEnoughMs));
        QVERIFY(writtenLogs() == expected); // Too long to print.
    }

    void destroysEachRequestOnceItIsWritten()
    {
        std::atomic<int> destroyed{0};
        QList<QPointer<FileIOObject>> seen;
        FileIOObjectPointer kept;
        const auto connection = connect(logger(), &QtDebugLogger::handleIOSignal, [&](const auto &request) {
            seen.append(request.data());
            kept = request;
            connect(request.data(), &QObject::destroyed, [&destroyed] { ++destroyed; });
        });
        for (const char *const line : {"a", "b", "c"})
            append(line);
        disconnect(connection);
        QVERIFY(logger()->flush(kEnoughMs));
        QCOMPARE(destroyed.load(), 2);
        QCOMPARE(seen, QList<QPointer<FileIOObject>>({nullptr, nullptr, kept.data()}));
        kept.clear();
        QCOMPARE(destroyed.load(), 3);
    }
};

QTEST_GUILESS_MAIN(tst_QtDebugLogger)
#include "tst_qtdebuglogger.moc"
