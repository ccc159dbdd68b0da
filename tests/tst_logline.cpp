// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/writer/LogLine_p.h>

#include <QTest>

#include <climits>

class tst_LogLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isFormatted_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const auto row
            = [](const char *name, int type, const QByteArray &file, int number, const QString &text,
                 const QString &expected) { QTest::newRow(name) << type << file << number << text << expected; };
        row("debug", QtDebugMsg, "/src/main.cpp", 42, "disk low"_q, "<Debug:> main.cpp 42: disk low"_q);
        row("warning", QtWarningMsg, "main.cpp", 42, "disk low"_q, "<Warning:> main.cpp 42: disk low"_q);
        row("critical", QtCriticalMsg, "a/b", 1, "x"_q, "<Critical:> b 1: x"_q);
        row("fatal", QtFatalMsg, "a/b", 1, "x"_q, "<Fatal:> b 1: x"_q);
        row("information", QtInfoMsg, "a/b", 1, "x"_q, "<Other:> b 1: x"_q);
        row("unknown type", 5, "a/b", 1, "x"_q, "<Other:> b 1: x"_q);
        row("no file", QtDebugMsg, {}, 0, "x"_q, "<Debug:>  0: x"_q);
        row("a folder, a negative line", QtDebugMsg, "a/", -1, "x"_q, "<Debug:>  -1: x"_q);
        row("lowest line", QtDebugMsg, "f", INT_MIN, "x"_q, "<Debug:> f -2147483648: x"_q);
        row("other letters", QtDebugMsg, "/\u00e4.cpp", INT_MAX, "\u20ac"_q,
            "<Debug:> \u00e4.cpp 2147483647: \u20ac"_q);
        row("a byte-order mark", QtDebugMsg, "a/\ufeff.cpp", 1, "x"_q, "<Debug:> \ufeff.cpp 1: x"_q);
        row("no text", QtDebugMsg, "f", 1, QString(), "<Debug:> f 1: -"_q);
        row("only blanks", QtDebugMsg, "f", 1, " \t\n "_q, "<Debug:> f 1: "_q);
        row("trimmed outside only", QtDebugMsg, "f", 1, "\n a \r\n\n b\t\n"_q, "<Debug:> f 1: a \r\n\n b"_q);
        row("longer than the stack holds", QtDebugMsg, "f", 1, QString(5000, QLatin1Char('x')),
            "<Debug:> f 1: "_q + QString(5000, QLatin1Char('x')));
        row("placeholders in the text", QtDebugMsg, "f", 1, "<TIM><FILE><LINE><TEXT>"_q,
            "<Debug:> f 1: <TIM><FILE><LINE><TEXT>"_q);
        // In the file's name they are replaced where their turn is still to come.
        row("placeholders in the file", QtDebugMsg, "<LINE>-<TEXT>", 7, "<LINE>"_q, "<Debug:> 7-<LINE> 7: <LINE>"_q);
        row("a placeholder twice", QtDebugMsg, "<TEXT><TEXT>", 7, QString(600, QLatin1Char('y')),
            "<Debug:> %1%1 7: %1"_q.arg(QString(600, QLatin1Char('y'))));
        row("earlier placeholders", QtDebugMsg, "<TIM><TS><FILE>", 7, "x"_q, "<Debug:> <TIM><TS><FILE> 7: x"_q);
    }
    void isFormatted()
    {
        QFETCH(const int, type);
        QFETCH(const QByteArray, file);
        QFETCH(const int, number);
        QFETCH(const QString, text);
        QFETCH(const QString, expected);
        const QMessageLogContext context(file.isNull() ? nullptr : file.constData(), number, "function", "category");
        const QString format = "'['yyyy-MM-dd hh:mm:ss'] '"_q;
        const QString before = QDateTime::currentDateTime().toString(format);
        const QString line = LogLine(static_cast<QtMsgType>(type), context, text).textToWrite().toString();
        const QString time = line.left(22);
        QVERIFY2(before <= time, qPrintable(time));
        QVERIFY2(time <= QDateTime::currentDateTime().toString(format), qPrintable(time));
        QCOMPARE(line.mid(22), expected + "\n\n"_q);
    }
};

QTEST_GUILESS_MAIN(tst_LogLine)
#include "tst_logline.moc"
