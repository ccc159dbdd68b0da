// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/Load.h"
#include "support/TestSupport.h"

#include <Brindlecast/writer/LogQueue_p.h>

#include <QTest>

using Phase = LogQueue::Phase;

namespace {

constexpr int kEnoughMs = 30000;
constexpr int kThreads = 8;
using Counts = LoggingThreads::Counts;

const QObject &emitter()
{
    static const QObject object;
    return object;
}

LogQueue &queue()
{
    return LogQueue::instance();
}

LineOutcome push(const QString &text, unsigned long category = 1)
{
    return queue().push(text, category, emitter());
}

// The text that thread `thread` pushes as its line `number`, of a length that differs from line to line.
QString line(int thread, int number)
{
    return QStringLiteral("%1 %2 ").arg(thread).arg(number).leftJustified((number * 7919 + thread) % 900);
}

QStringList textsOf(const QueuedEntries &waiting)
{
    QStringList texts;
    for (int index = 0; index < waiting.count(); ++index)
        texts.append(waiting.at(index).text.toString());
    return texts;
}

// Settles all that waits and returns its texts.
QStringList takeAll()
{
    QStringList texts;
    for (QueuedEntries waiting = queue().front(); waiting.count() > 0; waiting = queue().front()) {
        texts += textsOf(waiting);
        queue().removeFront(waiting.count(), EntryFate::Settled, true, true);
    }
    return texts;
}

// A thread that takes everything until its end.
class Writer
{
public:
    ~Writer() { finish(); }
    const QStringList &finish()
    {
        if (m_thread.joinable()) {
            queue().endServing();
            m_thread.join();
            queue().beginServing();
            m_taken += takeAll();
        }
        return m_taken;
    }

private:
    QStringList m_taken;
    std::thread m_thread{[this] {
        while (queue().isServing()) {
            queue().sleep(true, true);
            m_taken += takeAll();
        }
    }};
};

// Eight threads push lines until they are refused; how many each has pushed.
Counts pushLines()
{
    Counts pushed{};
    runInThreads(kThreads, [&pushed](int thread) {
        int &count = pushed.at(static_cast<std::size_t>(thread));
        while (push(line(thread, count)) == LineOutcome::Pushed)
            ++count;
    });
    return pushed;
}

// Expects each thread's lines from 0 on, in order, and as many as it pushed.
void compareLines(const QStringList &taken, const Counts &pushed)
{
    Counts next{};
    for (const QString &text : taken) {
        const int thread = text.section(QLatin1Char(' '), 0, 0).toInt();
        QCOMPARE(text, line(thread, next.at(static_cast<std::size_t>(thread))++));
    }
    QCOMPARE(QVector<int>(next.begin(), next.end()), QVector<int>(pushed.begin(), pushed.end()));
}

} // namespace

class tst_LogQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        queue().open();
        queue().beginServing();
        takeAll();
        queue().takeDropped();
        queue().takeWakeUp();
    }

    void cleanup()
    {
        QVERIFY(!queue().hasWaiting());
        queue().endServing();
        queue().leave();
    }

    void closesWhileThreadsPush()
    {
        for (int round = 0; round < 24; ++round) {
            queue().open();
            Writer writer;
            std::thread closer([round] {
                std::this_thread::sleep_for(std::chrono::microseconds(100 * round));
                queue().close(true);
            });
            const Counts pushed = pushLines();
            closer.join();
            QStringList taken = writer.finish();
            QVERIFY2(!queue().hasWaiting(), "a line got into the closed queue");
            QCOMPARE(taken.takeLast(), QString()); // The clear came last.
            compareLines(taken, pushed);
        }
        queue().pushClear();
        QVERIFY(!queue().pushRequest(FileIOObjectPointer(new FileIOObject(nullptr))));
        QVERIFY(!queue().hasWaiting());
    }

    void wakesWriterAndFlushes()
    {
        const Writer writer;
        for (const int threads : {1, kThreads}) { // Alone, the writer falls asleep each time.
            std::atomic<int> failures{0};
            runInThreads(threads, [&failures](int) {
                for (int round = 0; round < 1000; ++round) {
                    round % 3 == 0 ? queue().pushClear() : static_cast<void>(push("x"_q));
                    failures += queue().flush(QDeadlineTimer(kEnoughMs)) ? 0 : 1;
                }
            });
            QCOMPARE(failures.load(), 0);
        }
    }

    void endsEveryFlushWhenTheWriterIsStopped()
    {
        push("x"_q);
        std::atomic<int> inVain{0};
        runInThreads(4, [&inVain, limit = QDeadlineTimer(kEnoughMs)](int thread) {
            if (thread == 3)
                queue().endServing();
            else
                inVain += queue().flush(limit) || limit.hasExpired() ? 0 : 1;
        });
        QCOMPARE(inVain.load(), 3);
        queue().beginServing();
        takeAll();
        QVERIFY(queue().flush(QDeadlineTimer(0)));
    }

    void holdsLinesOfAnyLength()
    {
        QStringList texts;
        for (int size = 16330; size < 16390; ++size) // About as many as a chunk holds.
            texts << QString(size, QChar(0xd800)) << QString(size % 3, QLatin1Char('s'));
        texts << QString(3000000, QChar(0x20ac)) << "the end"_q;
        for (const QString &text : qAsConst(texts))
            QCOMPARE(push(text), LineOutcome::Pushed);
        QVERIFY(takeAll() == texts);
    }

    void boundsTheLinesAndCountsTheDropped()
    {
        for (int lines = 0; lines < LogQueue::kMostWaitingLines; ++lines)
            push("x"_q);
        queue().pushClear(); // Is no line.
        for (int lines = 0; lines < 3; ++lines)
            QCOMPARE(push("dropped"_q), LineOutcome::Dropped);
        QCOMPARE(queue().unwrittenLines(), quint64(LogQueue::kMostWaitingLines) + 3);
        int settled = 0;
        while (settled < LogQueue::kMostWaitingLines / 16) {
            QCOMPARE(push("dropped"_q), LineOutcome::Dropped); // Not one by one, at its edge.
            const int entries = qMin(queue().front().count(), LogQueue::kMostWaitingLines / 16 - settled);
            queue().removeFront(entries, EntryFate::Settled, true, true);
            settled += entries;
        }
        queue().removeFront(1, EntryFate::Settled, true, true);
        QCOMPARE(push("x"_q), LineOutcome::NoticeDue);
        const quint64 dropped = queue().takeDropped();
        QVERIFY(dropped > 3);
        QCOMPARE(queue().takeDropped(), 0U);
        QCOMPARE(push("x"_q), LineOutcome::Pushed);
        queue().addDropped(dropped); // The notice came to nothing.
        QCOMPARE(push("x"_q), LineOutcome::NoticeDue);
        QCOMPARE(queue().takeDropped(), dropped);
        QCOMPARE(takeAll().size(), LogQueue::kMostWaitingLines - settled + 1); // With the clear.
    }

    void putsNeighboursTogether()
    {
        const FileIOObjectPointer request(new FileIOObject(nullptr));
        request->contentList = QStringList{"request"_q};
        push("1234"_q);
        push("567"_q);
        push("another category"_q, 2);
        queue().pushRequest(request);
        queue().pushClear();
        push("8"_q);
        QCOMPARE(queue().unwrittenLines(), 5U); // A clear is no line.
        QueuedEntries waiting = queue().front();
        QCOMPARE(waiting.count(), 6);
        const std::tuple<int, int> rows[] = {{3, 0}, {4, 1}, {6, 1}, {7, 2}, {4096, 2}};
        for (const auto &[room, lines] : rows)
            QCOMPARE(waiting.lines(room), lines);
        QCOMPARE(waiting.text(2).toString(), "1234567"_q);
        waiting.dropFirst(2);
        for (const int lines : {1, 0, 0, 1}) { // Requests and clears are no lines.
            QCOMPARE(waiting.lines(4096), lines);
            waiting.dropFirst(1);
        }
        queue().removeFront(4, EntryFate::Settled, true, true);
        QVERIFY(queue().takeRemovedRequest() == request);
        QCOMPARE(textsOf(queue().front()), QStringList({QString(), "8"_q}));
        takeAll();
    }
};

QTEST_GUILESS_MAIN(tst_LogQueue)
#include "tst_logqueue.moc"
