// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <LogTail.h>

#include <QAbstractItemModelTester>
#include <QMetaObject>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>

#include <sys/stat.h>

namespace {

// Sanitizers and emulators take long to read a large file.
#define TRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, 120000)

constexpr int kMebibyte = 1024 * 1024;

bool write(const QString &path, const QByteArray &bytes, QIODevice::OpenMode mode = QIODevice::WriteOnly)
{
    QFile file(path);
    return file.open(mode) && file.write(bytes) == bytes.size() && file.flush();
}

bool append(const QString &path, const QByteArray &bytes)
{
    return write(path, bytes, QIODevice::Append);
}

QByteArray record(const QByteArray &text, const char *label = "Debug")
{
    return QByteArray("[2026-11-16 18:00:05] <") + label + ":> main.cpp 42: " + text + "\n\n";
}

QByteArray records(int first, int last)
{
    QByteArray bytes;
    for (int number = first; number <= last; ++number)
        bytes += record(QByteArray::number(number));
    return bytes;
}

QStringList texts(const LogTail &tail)
{
    QStringList result;
    for (int number = 0; number < tail.count(); ++number)
        result.append(tail.index(number).data(LogTail::TextRole).toString());
    return result;
}

using Texts = QStringList;

/** A model that looks as often as it can. */
struct Tail : LogTail // clazy:exclude=missing-qobject-macro
{
    explicit Tail(const QString &path = {}, QObject *parent = nullptr)
        : LogTail(parent)
    {
        setInterval(1);
        setPath(path);
    }
};

/** The rows as a view has them that relies on the model's signals alone. */
class View : public QObject
{
    Q_OBJECT

public:
    explicit View(LogTail &tail)
        : m_tester(&tail, QAbstractItemModelTester::FailureReportingMode::QtTest)
    {
        const auto text = [&tail](int row) { return tail.index(row).data(LogTail::TextRole).toString(); };
        connect(&tail, &LogTail::modelReset, this, [this, &tail] { shown = texts(tail), ++resets; });
        connect(&tail, &LogTail::rowsInserted, this, [this, text](const QModelIndex &, int first, int last) {
            for (; first <= last; ++first)
                shown.insert(first, text(first));
        });
        connect(&tail, &LogTail::rowsRemoved, this, [this](const QModelIndex &, int first, int last) {
            shown.erase(shown.begin() + first, shown.begin() + last + 1);
        });
        connect(&tail, &LogTail::dataChanged, this,
                [this, text](const QModelIndex &index) { shown[index.row()] = text(index.row()); });
    }

    QStringList shown;
    int resets = 0;

private:
    QAbstractItemModelTester m_tester;
};

} // namespace

class tst_LogTail : public QObject
{
    Q_OBJECT

    QString path(const QString &name = "a.log"_q) const { return QDir(m_folder->path()).filePath(name); }

    /** Puts another file in the place of the one at path(). */
    bool replace(const QByteArray &bytes) const
    {
        return write(path("new"_q), bytes) && std::rename(qPrintable(path("new"_q)), qPrintable(path())) == 0;
    }

    /** Makes a file of `bytes`, a model of it and a view, and waits for so many `rows`. */
    bool open(const QByteArray &bytes, int rows)
    {
        m_tail = std::make_unique<Tail>();
        m_view = std::make_unique<View>(*m_tail);
        if (!write(path(), bytes))
            return false;
        m_tail->setPath(path());
        return QTest::qWaitFor([&] { return m_tail->count() == rows; }, 120000);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Tail> m_tail;
    std::unique_ptr<View> m_view;

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY2(m_folder->isValid(), qPrintable(m_folder->errorString()));
    }
    void cleanup() { m_view.reset(), m_tail.reset(); }

    void readsRecords_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("rows"); // level, time, place and text; "@" for those of record()
        const QByteArray head = "[2026-11-16 18:00:05] <Debug:> ";
        const auto row = [](const char *name, const QByteArray &bytes, const Texts &rows) {
            QTest::newRow(name) << bytes << rows;
        };
        row("one of each level",
            record("a") + record("b", "Other") + record("c", "Warning") + record("d", "Critical")
                + record("e", "Fatal"),
            {"1@a"_q, "2@b"_q, "3@c"_q, "4@d"_q, "5@e"_q});
        row("line breaks in the text", record("a\n\n b\n[c") + record("d"), {"1@a\n\n b\n[c"_q, "1@d"_q});
        row("no source file", head + " 0: a: 1: b\n", {"1|2026-11-16 18:00:05||a: 1: b"_q});
        row("blanks and colons in the place", head + "a 1:b: c:2 33: d 4: e",
            {"1|2026-11-16 18:00:05|a 1:b: c:2 33|d 4: e"_q});
        row("neither place nor text", head + "\n", {"1|2026-11-16 18:00:05||"_q});
        row("first lines not ours", "a\n\nb\r\n\tc\n" + record("d"),
            {"0|||a"_q, "0|||"_q, "0|||b"_q, "0||| c"_q, "1@d"_q});
        row("begun like ours", "[\n[2026-11-16 18:00:05] \n[2026-11-16 18:00:0x] <Debug:> a",
            {"0|||["_q, "0|||[2026-11-16 18:00:05] "_q, "0|||[2026-11-16 18:00:0x] <Debug:> a"_q});
        row("control characters", record(QByteArray("a\0\x1b[31m\x7f\xc2\x85z", 11)),
            {"1@a\uFFFD\uFFFD[31m\uFFFD\uFFFDz"_q});
        row("separators and marks of direction", record("a" + QByteArray::fromHex("e280a8e280aee281a6d89c") + "z"),
            {"1@a\uFFFD\uFFFD\uFFFD\uFFFDz"_q});
        row("no UTF-8", record("a\xff\xed\xa0\x80z\xc3"), {"1@a\uFFFD\uFFFD\uFFFD\uFFFDz\uFFFD"_q});
        row("2,000 characters of three bytes", record(QByteArray("€").repeated(2000)), {"1@"_q + "€"_q.repeated(2000)});
        row("a pair of surrogates at the limit", record(QByteArray(1999, 'x') + "\xf0\x9f\x98\x80"),
            {"1@"_q + "x"_q.repeated(1999) + "…"_q});
        row("a line of 20 MiB", QByteArray(20 * kMebibyte, '\0'), {"0|||"_q + "\uFFFD"_q.repeated(2000) + "…"_q});
        row("a record of 3 MiB", record("a") + record(QByteArray("b\n").repeated(3 * kMebibyte / 2)),
            {"1@a"_q, "1@"_q + "b\n"_q.repeated(1000) + "…"_q});
    }

    void readsRecords()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const QStringList, rows);
        QVERIFY(write(path(), bytes));
        Tail tail(path());
        TRY_COMPARE(tail.state(), LogTail::State::Ready);
        QStringList shown;
        for (int row = 0; row < tail.count(); ++row) {
            QStringList parts;
            for (const int role : {LogTail::LevelRole, LogTail::TimeRole, LogTail::PlaceRole, LogTail::TextRole})
                parts.append(tail.index(row).data(role).toString());
            shown.append(parts.join("|"_q).replace("|2026-11-16 18:00:05|main.cpp 42|"_q, "@"_q));
        }
        QCOMPARE(shown, rows);
    }

    void showsTheEndOfALargeFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<LogTail::Level>("level");
        QTest::addColumn<QString>("shown"); // the number of rows, the first line of the first, the last
        QTest::addColumn<bool>("atStart");
        const auto lines = [](int mebibytes) { return QByteArray("x\n").repeated(kMebibyte * mebibytes / 2); };
        QTest::newRow("2,001 records") << records(1, 2001) << LogTail::Level::None << "2000: 2 2001"_q << false;
        QTest::newRow("begun inside a record")
            << record(lines(18)) + records(1, 3) << LogTail::Level::None << "3: 1 3"_q << false;
        QTest::newRow("a warning 8 MiB before the end") << record("a", "Warning") + lines(8) + record("b", "Critical")
                                                        << LogTail::Level::Warning << "2: a b"_q << true;
    }

    void showsTheEndOfALargeFile()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const LogTail::Level, level);
        QVERIFY(write(path(), bytes));
        Tail tail;
        tail.setLowestLevel(level);
        tail.setPath(path());
        TRY_COMPARE(tail.state(), LogTail::State::Ready);
        const Texts rows = texts(tail);
        const QString shown = QString::number(rows.size()) + ": "_q + rows.value(0).section("\n"_q, 0, 0) + " "_q
            + rows.value(rows.size() - 1);
        QTEST(shown, "shown");
        QTEST(tail.isAtStart(), "atStart");
    }

    void followsTheFile()
    {
        QVERIFY(open(records(1, 3), 3));
        // Cut anywhere: inside a head, inside a character, between a record and its further lines.
        QVERIFY(append(path(), "[2026-11-16 18:"));
        TRY_COMPARE(m_view->shown, Texts({"1"_q, "2"_q, "3\n\n[2026-11-16 18:"_q}));
        QVERIFY(append(path(), "00:05] <Warning:> a.cpp 1: 4\xe2"));
        TRY_COMPARE(m_view->shown, Texts({"1"_q, "2"_q, "3"_q, "4\uFFFD"_q}));
        QVERIFY(append(path(), "\x82\xac\n\n"));
        TRY_COMPARE(m_view->shown, Texts({"1"_q, "2"_q, "3"_q, "4€"_q}));
        QVERIFY(append(path(), "b\n" + record("5")));
        TRY_COMPARE(m_view->shown, Texts({"1"_q, "2"_q, "3"_q, "4€\n\nb"_q, "5"_q}));
        QCOMPARE(m_tail->index(3).data(LogTail::LineRole).toString(), "4€  b"_q);
        QVERIFY(m_tail->isAtStart());

        QVERIFY(append(path(), records(6, 2002)));
        TRY_COMPARE(m_view->shown.constLast(), "2002"_q);
        QCOMPARE(m_view->shown.constFirst(), "3"_q);
        QVERIFY(append(path(), records(2003, 6000)));
        TRY_COMPARE(m_view->shown.constLast(), "6000"_q);
        QCOMPARE(m_view->shown, texts(*m_tail));
        QCOMPARE(m_tail->count(), 2000);
        QVERIFY(!m_tail->isAtStart());
        QCOMPARE(m_view->resets, 1);
    }

    void filtersByLevel()
    {
        QVERIFY(open("x\n" + record("a\nb") + record("c", "Other") + record("d\ne", "Warning"), 4));
        m_tail->setLowestLevel(LogTail::Level::Warning);
        QCOMPARE(m_tail->state(), LogTail::State::Loading);
        QCOMPARE(m_tail->count(), 4);
        TRY_COMPARE(m_view->shown, Texts("d\ne"_q));
        QVERIFY(append(path(), record("f\ng") + record("h", "Fatal") + record("i", "Other")));
        TRY_COMPARE(m_view->shown, Texts({"d\ne"_q, "h"_q}));
        m_tail->setLowestLevel(LogTail::Level::Fatal);
        m_tail->setLowestLevel(LogTail::Level::Info);
        TRY_COMPARE(m_view->shown, Texts({"c"_q, "d\ne"_q, "h"_q, "i"_q}));
    }

    void standsStillUnlessFollowing()
    {
        QVERIFY(open("a\n", 1));
        m_tail->setFollowing(false);
        Tail other(path());
        QVERIFY(append(path(), "b\n"));
        TRY_COMPARE(texts(other), Texts({"a"_q, "b"_q}));
        QVERIFY(append(path(), "c\n")); // which is found at least one look later
        TRY_COMPARE(texts(other), Texts({"a"_q, "b"_q, "c"_q}));
        QCOMPARE(m_view->shown, Texts("a"_q));
        m_tail->setFollowing(true);
        TRY_COMPARE(m_view->shown, Texts({"a"_q, "b"_q, "c"_q}));
        QCOMPARE(m_view->resets, 1);
    }

    void beginsAnewWithAnotherFile()
    {
        QVERIFY(open("a1\na2\n", 2));
        QVERIFY(write(path(), "b1\nb2\n"));
        TRY_COMPARE(m_view->shown, Texts({"b1"_q, "b2"_q}));
        QVERIFY(write(path(), "c1\nc2\nc3\n"));
        TRY_COMPARE(m_view->shown, Texts({"c1"_q, "c2"_q, "c3"_q}));
        QVERIFY(write(path(), "c1\n"));
        TRY_COMPARE(m_view->shown, Texts("c1"_q));
        // Another file, although it begins like the one before.
        QVERIFY(replace("c1\nd\n"));
        TRY_COMPARE(m_view->shown, Texts({"c1"_q, "d"_q}));
        QCOMPARE(m_view->resets, 5);
        QVERIFY(append(path(), "e\n"));
        TRY_COMPARE(m_view->shown, Texts({"c1"_q, "d"_q, "e"_q}));
        QVERIFY(replace(""));
        TRY_COMPARE(m_view->shown, Texts());
        QCOMPARE(m_view->resets, 6);
    }

    void keepsTheRowsOfAFileThatIsGone()
    {
        QVERIFY(open("a\n", 1));
        QVERIFY(QFile::rename(path(), path("b.log"_q)));
        TRY_COMPARE(m_tail->state(), LogTail::State::Missing);
        QVERIFY(append(path("b.log"_q), "b\n") && QFile::rename(path("b.log"_q), path()));
        TRY_COMPARE(m_view->shown, Texts({"a"_q, "b"_q}));
        QCOMPARE(m_view->resets, 1);
    }

    void tellsWhyThereIsNothing()
    {
        using State = LogTail::State;
        QVERIFY(write(path("file"_q), "a\n") && QFile::link("file"_q, path("link"_q)));
        QVERIFY(::mkfifo(qPrintable(path("fifo"_q)), 0600) == 0);
        const std::pair<QString, State> files[]
            = {{"none"_q, State::Missing},    {"file\0x"_q, State::Missing},      {"."_q, State::Unreadable},
               {"fifo"_q, State::Unreadable}, {"/dev/zero"_q, State::Unreadable}, {"link"_q, State::Ready}};
        for (const auto &[file, state] : files) {
            Tail tail(path(file));
            QTRY_VERIFY_WITH_TIMEOUT(tail.state() != State::Loading, 120000);
            QVERIFY2(tail.state() == state, qPrintable(file));
        }
    }

    // A slot that deletes the model, or sets another path, at each of its signals.
    void bearsSlotsThatEndIt_data()
    {
        QTest::addColumn<QByteArray>("signal");
        QTest::addColumn<QString>("cause");
        const auto rows = [](const char *cause, const QList<const char *> &names) {
            for (const char *name : names)
                QTest::addRow("%s by %s", name, cause) << QByteArray(name) << QString::fromLatin1(cause);
        };
        rows("path", {"pathChanged()", "modelAboutToBeReset()", "modelReset()", "countChanged()", "stateChanged()"});
        rows("level",
             {"lowestLevelChanged()", "modelAboutToBeReset()", "modelReset()", "countChanged()", "stateChanged()"});
        rows("growth",
             {"countChanged()", "rowsInserted(QModelIndex,int,int)",
              "dataChanged(QModelIndex,QModelIndex,QVector<int>)"});
        rows("growth of the full list", {"rowsRemoved(QModelIndex,int,int)"});
    }

    void bearsSlotsThatEndIt()
    {
        QFETCH(const QByteArray, signal);
        QFETCH(const QString, cause);
        QVERIFY(write(path("b.log"_q), "b\n"));
        const int number = cause == "growth of the full list"_q ? 2000 : 10;
        for (const QString &ending : {QString(), path("b.log"_q)}) {
            m_ending = ending;
            QVERIFY(open(records(1, number).chopped(2), number));
            m_view.reset();
            const QMetaObject *type = m_tail->metaObject();
            const int index = type->indexOfSignal(QMetaObject::normalizedSignature(signal.constData()).constData());
            QVERIFY(index >= 0); // A connection takes -1 for all signals.
            QMetaObject::connect(m_tail.get(), index, this, metaObject()->indexOfSlot("endTail()"));
            if (cause == "path"_q)
                m_tail->setPath(QString());
            else if (cause == "level"_q)
                m_tail->setLowestLevel(LogTail::Level::Fatal);
            else
                QVERIFY(append(path(), "x\n\n" + records(1, 3)));
            if (ending.isEmpty()) {
                TRY_COMPARE(m_tail.get(), nullptr);
            } else {
                TRY_COMPARE(m_tail->path(), ending);
                m_tail->setLowestLevel(LogTail::Level::None);
                TRY_COMPARE(texts(*m_tail), Texts("b"_q));
            }
        }
    }

public Q_SLOTS:
    void endTail()
    {
        if (m_tail && m_ending.isEmpty())
            m_tail.reset();
        else if (m_tail)
            m_tail->setPath(m_ending);
    }

private:
    QString m_ending; // The path to set, or empty to delete.
};

QTEST_GUILESS_MAIN(tst_LogTail)
#include "tst_logtail.moc"
