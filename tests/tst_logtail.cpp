// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <LogTail.h>

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/fanotify.h>
#include <sys/stat.h>
#include <unistd.h>

static bool hasThreads = true;

// In the place of the C library's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" Q_DECL_EXPORT int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                                            void *argument) noexcept
{
    static const auto call = reinterpret_cast<decltype(&::pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
    return hasThreads ? call(thread, attributes, run, argument) : EAGAIN;
}

namespace {

constexpr int kEnoughMs = 120000; // Sanitizers and emulators take long to read a large file.

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

QString row(const LogTail &tail, int number)
{
    const QModelIndex index = tail.index(number);
    const auto role = [&index](int which) { return index.data(which).toString(); };
    const QString text = role(LogTail::LevelRole) + "|"_q + role(LogTail::TimeRole) + "|"_q + role(LogTail::PlaceRole);
    return text + "|"_q + role(LogTail::TextRole);
}

QStringList texts(const LogTail &tail)
{
    QStringList result;
    for (int number = 0; number < tail.count(); ++number)
        result.append(tail.index(number).data(LogTail::TextRole).toString());
    return result;
}

/** A model that looks as often as it can. */
struct Tail : LogTail // clazy:exclude=missing-qobject-macro
{
    explicit Tail(QObject *parent = nullptr)
        : LogTail(parent)
    {
        setInterval(1);
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
        connect(&tail, &LogTail::modelReset, this, [this, &tail] { shown = texts(tail), ++resets; });
        connect(&tail, &LogTail::rowsInserted, this, [this, &tail](const QModelIndex &, int first, int last) {
            for (int number = first; number <= last; ++number)
                shown.insert(number, tail.index(number).data(LogTail::TextRole).toString());
            ++insertions;
        });
        connect(&tail, &LogTail::rowsRemoved, this, [this](const QModelIndex &, int first, int last) {
            shown.erase(shown.begin() + first, shown.begin() + last + 1);
        });
        connect(&tail, &LogTail::dataChanged, this, [this](const QModelIndex &first, const QModelIndex &last) {
            for (int number = first.row(); number <= last.row(); ++number)
                shown[number] = first.sibling(number, 0).data(LogTail::TextRole).toString();
        });
    }

    QStringList shown;
    int resets = 0;
    int insertions = 0;

private:
    QAbstractItemModelTester m_tester;
};

} // namespace

class tst_LogTail : public QObject
{
    Q_OBJECT

    QString path(const QString &name = "a.log"_q) const { return m_folder->filePath(name); }

    QScopedPointer<QTemporaryDir> m_folder;

private Q_SLOTS:
    void init()
    {
        m_folder.reset(new QTemporaryDir);
        QVERIFY2(m_folder->isValid(), qPrintable(m_folder->errorString()));
    }

    void readsRecords_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("rows");
        const QString head = "1|2026-11-16 18:00:05|main.cpp 42|"_q;
        const QByteArray stamp = "[2026-11-16 18:00:05] <";
        const auto lines = [](const char *text) { return QByteArray(text); };

        QTest::newRow("empty") << QByteArray() << QStringList();
        QTest::newRow("one of each level")
            << record("a") + record("b", "Other") + record("c", "Warning") + record("d", "Critical")
                + record("e", "Fatal")
            << QStringList{head + "a"_q, "2"_q + head.mid(1) + "b"_q, "3"_q + head.mid(1) + "c"_q,
                           "4"_q + head.mid(1) + "d"_q, "5"_q + head.mid(1) + "e"_q};
        QTest::newRow("line breaks in the text")
            << record("a\n\n b\n[c") + record("d") << QStringList{head + "a\n\n b\n[c"_q, head + "d"_q};
        QTest::newRow("no line break at the end") << record("a").chopped(2) << QStringList{head + "a"_q};
        QTest::newRow("no source file") << stamp + "Debug:>  0: a: 1: b\n"
                                        << QStringList{"1|2026-11-16 18:00:05||a: 1: b"_q};
        QTest::newRow("source file with blanks and colons") << stamp
                + "Debug:> a 1:b: c:2 33: d 4: e\n" << QStringList{"1|2026-11-16 18:00:05|a 1:b: c:2 33|d 4: e"_q};
        QTest::newRow("no text") << stamp + "Debug:> main.cpp 42: \n" << QStringList{head};
        QTest::newRow("no place") << stamp + "Debug:> a\n" << QStringList{"1|2026-11-16 18:00:05||a"_q};
        QTest::newRow("not ours") << lines("a\n\nb\r\n\tc") << QStringList{"0|||a"_q, "0|||"_q, "0|||b"_q, "0||| c"_q};
        QTest::newRow("first lines not ours")
            << lines("a\nb\n") + record("c") << QStringList{"0|||a"_q, "0|||b"_q, head + "c"_q};
        const QByteArray almost = "[2026-11-16 18:00:0x] <Debug:> a 1: b\n[2026-11-16 18:00:05] <Trace:> a 1: b\n[\n"
                                  "[2026-11-16 18:00:05] \n";
        QTest::newRow("almost ours") << almost
                                     << QStringList{"0|||[2026-11-16 18:00:0x] <Debug:> a 1: b"_q,
                                                    "0|||[2026-11-16 18:00:05] <Trace:> a 1: b"_q, "0|||["_q,
                                                    "0|||[2026-11-16 18:00:05] "_q};
        QTest::newRow("control characters") << record(QByteArray("a\0\x1b[31m\x7f\xc2\x85z", 11))
                                            << QStringList{head + "a\uFFFD\uFFFD[31m\uFFFD\uFFFDz"_q};
        QTest::newRow("separators and marks of direction")
            << record("a" + QByteArray::fromHex("e280a8e280aee281a6d89c") + "z")
            << QStringList{head + "a\uFFFD\uFFFD\uFFFD\uFFFDz"_q};
        QTest::newRow("no UTF-8") << record("a\xff\xed\xa0\x80z\xc3")
                                  << QStringList{head + "a\uFFFD\uFFFD\uFFFD\uFFFDz\uFFFD"_q};
        QTest::newRow("2,000 characters") << record(QByteArray(2000, 'x')) << QStringList{head + "x"_q.repeated(2000)};
        QTest::newRow("2,001 characters")
            << record(QByteArray(2001, 'x')) << QStringList{head + "x"_q.repeated(2000) + "…"_q};
        QTest::newRow("2,000 characters of three bytes")
            << record(QByteArray("\xe2\x82\xac").repeated(2000)) << QStringList{head + "€"_q.repeated(2000)};
        QTest::newRow("a pair of surrogates at the limit")
            << record(QByteArray(1999, 'x') + "\xf0\x9f\x98\x80") << QStringList{head + "x"_q.repeated(1999) + "…"_q};
        QTest::newRow("2,000 characters in many lines")
            << record("x" + QByteArray(999, '\n') + QByteArray("y\n").repeated(1000) + "z")
            << QStringList{head + "x"_q + "\n"_q.repeated(999) + "y\n"_q.repeated(500) + "…"_q};
        QTest::newRow("a line of 20 MiB") << QByteArray(20 * kMebibyte, 'x') + "\na" << QStringList{"0|||"_q + "a"_q};
        QTest::newRow("a line of 20 MiB alone")
            << QByteArray(20 * kMebibyte, '\0') << QStringList{"0|||"_q + "\uFFFD"_q.repeated(2000) + "…"_q};
        QTest::newRow("a record of 3 MiB") << record("a") + record(QByteArray("b\n").repeated(3 * kMebibyte / 2))
                                           << QStringList{head + "a"_q, head + "b\n"_q.repeated(1000) + "…"_q};
    }

    void readsRecords()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const QStringList, rows);
        QVERIFY(write(path(), bytes));
        Tail tail;
        tail.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(tail.state(), LogTail::State::Ready, kEnoughMs);
        QStringList shown;
        for (int number = 0; number < tail.count(); ++number)
            shown.append(row(tail, number));
        QCOMPARE(shown, rows);
    }

    void showsTheEndOfALargeFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<LogTail::Level>("level");
        QTest::addColumn<QStringList>("firstAndLast");
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("atStart");
        const auto all = LogTail::Level::None;
        QTest::newRow("2,000 records") << records(1, 2000) << all << QStringList{"1"_q, "2000"_q} << 2000 << true;
        QTest::newRow("2,001 records") << records(1, 2001) << all << QStringList{"2"_q, "2001"_q} << 2000 << false;
        QTest::newRow("begun inside a record") << record(QByteArray("x\n").repeated(kMebibyte * 9)) + records(1, 3)
                                               << all << QStringList{"1"_q, "3"_q} << 3 << false;
        QTest::newRow("50 MiB of short lines")
            << QByteArray("x\n").repeated(kMebibyte * 25) + "y" << all << QStringList{"x"_q, "y"_q} << 2000 << false;
        QTest::newRow("a warning 8 MiB before the end")
            << record("a", "Warning") + QByteArray("x\n").repeated(kMebibyte * 4) + record("b", "Critical")
            << LogTail::Level::Warning << QStringList{"a"_q, "b"_q} << 2 << true;
        QTest::newRow("a warning 17 MiB before the end")
            << record("a", "Warning") + records(1, 20) + QByteArray("x\n").repeated(kMebibyte * 17 / 2)
                + record("b", "Fatal") + record("c", "Other")
            << LogTail::Level::Warning << QStringList{"b"_q, "b"_q} << 1 << false;
    }

    void showsTheEndOfALargeFile()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const LogTail::Level, level);
        QFETCH(const QStringList, firstAndLast);
        QVERIFY(write(path(), bytes));
        Tail tail;
        tail.setLowestLevel(level);
        tail.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(tail.state(), LogTail::State::Ready, kEnoughMs);
        QTEST(tail.count(), "count");
        QTEST(tail.isAtStart(), "atStart");
        const QStringList shown = texts(tail);
        QCOMPARE(shown.constFirst().section(QLatin1Char('\n'), 0, 0), firstAndLast.constFirst());
        QCOMPARE(shown.constLast(), firstAndLast.constLast());
    }

    void followsTheFile()
    {
        QVERIFY(write(path(), records(1, 3)));
        Tail tail;
        View view(tail);
        tail.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(tail.count(), 3, kEnoughMs);
        QCOMPARE(view.resets, 1);

        // Cut anywhere: inside a head, inside a character, between a record and its further lines.
        QVERIFY(append(path(), "[2026-11-16 18:"));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"1"_q, "2"_q, "3\n\n[2026-11-16 18:"_q}), kEnoughMs);
        QVERIFY(append(path(), "00:05] <Warning:> a.cpp 1: 4\xe2"));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"1"_q, "2"_q, "3"_q, "4\uFFFD"_q}), kEnoughMs);
        QCOMPARE(tail.index(3).data(LogTail::LevelRole).toInt(), static_cast<int>(LogTail::Level::Warning));
        QVERIFY(append(path(), "\x82\xac\n\n"));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"1"_q, "2"_q, "3"_q, "4€"_q}), kEnoughMs);
        QVERIFY(append(path(), "b\n" + record("5")));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"1"_q, "2"_q, "3"_q, "4€\n\nb"_q, "5"_q}), kEnoughMs);
        QCOMPARE(tail.index(3).data(LogTail::LineRole).toString(), "4€  b"_q);
        QVERIFY(tail.isAtStart());

        QVERIFY(append(path(), records(6, 2002)));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown.constLast(), "2002"_q, kEnoughMs);
        QCOMPARE(view.shown.constFirst(), "3"_q);
        QVERIFY(append(path(), records(2003, 6000)));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown.constLast(), "6000"_q, kEnoughMs);
        QCOMPARE(view.shown, texts(tail));
        QVERIFY(tail.count() == 2000 && !tail.isAtStart());
        QCOMPARE(view.resets, 1);
    }

    void filtersByLevel()
    {
        QVERIFY(write(path(), "x\n" + record("a\nb") + record("c", "Other") + record("d\ne", "Warning")));
        Tail tail;
        View view(tail);
        tail.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"x"_q, "a\nb"_q, "c"_q, "d\ne"_q}), kEnoughMs);
        tail.setLowestLevel(LogTail::Level::Warning);
        QVERIFY(tail.state() == LogTail::State::Loading && tail.count() == 4);
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList("d\ne"_q), kEnoughMs);
        QVERIFY(append(path(), record("f\ng") + record("h", "Fatal") + record("i", "Other")));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"d\ne"_q, "h"_q}), kEnoughMs);
        tail.setLowestLevel(LogTail::Level::Fatal);
        tail.setLowestLevel(LogTail::Level::Info);
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"c"_q, "d\ne"_q, "h"_q, "i"_q}), kEnoughMs);
        QVERIFY(QFile::remove(path()) && write(path(), "x\ny\n"));
        QTRY_VERIFY_WITH_TIMEOUT(view.shown.isEmpty(), kEnoughMs);
        QVERIFY(tail.state() == LogTail::State::Ready && !tail.hasLevels());
    }

    void standsStillUnlessFollowing()
    {
        QVERIFY(write(path(), "a\n"));
        Tail tail;
        View view(tail);
        Tail other;
        tail.setFollowing(false);
        tail.setPath(path());
        other.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList("a"_q), kEnoughMs);
        QVERIFY(append(path(), "b\n"));
        QTRY_COMPARE_WITH_TIMEOUT(texts(other), QStringList({"a"_q, "b"_q}), kEnoughMs);
        QVERIFY(append(path(), "c\n")); // which is found at least one look later
        QTRY_COMPARE_WITH_TIMEOUT(texts(other), QStringList({"a"_q, "b"_q, "c"_q}), kEnoughMs);
        QCOMPARE(view.shown, QStringList("a"_q));
        tail.setFollowing(true);
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"a"_q, "b"_q, "c"_q}), kEnoughMs);
        QCOMPARE(view.resets, 1);
    }

    void beginsAnewWithAnotherFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("way");
        for (const char *way : {"written anew", "removed first", "renamed"}) {
            QTest::addRow("shorter, %s", way) << QByteArray("b\n") << QString::fromLatin1(way);
            QTest::addRow("of the same size, %s", way) << QByteArray("b1\nb2\n") << QString::fromLatin1(way);
            QTest::addRow("longer, %s", way) << QByteArray("b1\nb2\nb3\nb4\n") << QString::fromLatin1(way);
            QTest::addRow("empty, %s", way) << QByteArray() << QString::fromLatin1(way);
        }
    }

    void beginsAnewWithAnotherFile()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const QString, way);
        QVERIFY(write(path(), "a1\na2\n"));
        Tail tail;
        View view(tail);
        tail.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(tail.count(), 2, kEnoughMs);
        QVERIFY(way != "removed first"_q || QFile::remove(path()));
        QVERIFY(write(way == "renamed"_q ? path("new"_q) : path(), bytes));
        QVERIFY(way != "renamed"_q || std::rename(qPrintable(path("new"_q)), qPrintable(path())) == 0);
        QTRY_COMPARE_WITH_TIMEOUT(view.shown.join("\n"_q), QString::fromLatin1(bytes).trimmed(), kEnoughMs);
        QVERIFY(append(path(), "c\n"));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown.value(view.shown.size() - 1), "c"_q, kEnoughMs);
        QCOMPARE(view.resets, 2);
    }

    void keepsTheRowsOfAFileThatIsGone()
    {
        QVERIFY(write(path(), "a\n"));
        Tail tail;
        View view(tail);
        tail.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(tail.count(), 1, kEnoughMs);
        QVERIFY(QFile::rename(path(), path("b.log"_q)));
        QTRY_COMPARE_WITH_TIMEOUT(tail.state(), LogTail::State::Missing, kEnoughMs);
        QVERIFY(append(path("b.log"_q), "b\n") && QFile::rename(path("b.log"_q), path()));
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList({"a"_q, "b"_q}), kEnoughMs);
        QCOMPARE(view.resets, 1);
        tail.setPath(QString());
        QVERIFY(tail.state() == LogTail::State::Empty && tail.count() == 0);
    }

    void tellsWhyThereIsNothing_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<LogTail::State>("state");
        QTest::newRow("missing") << "none"_q << LogTail::State::Missing;
        QTest::newRow("in a missing folder") << "none/none"_q << LogTail::State::Missing;
        QTest::newRow("below a file") << "file/none"_q << LogTail::State::Missing;
        QTest::newRow("name with NUL") << "file"_q + QChar(QChar::Null) + "x"_q << LogTail::State::Missing;
        QTest::newRow("dangling link") << "dangling"_q << LogTail::State::Missing;
        QTest::newRow("link to itself") << "loop"_q << LogTail::State::Unreadable;
        QTest::newRow("folder") << "."_q << LogTail::State::Unreadable;
        QTest::newRow("FIFO") << "fifo"_q << LogTail::State::Unreadable;
        QTest::newRow("device") << "device"_q << LogTail::State::Unreadable;
        QTest::newRow("link to a file") << "link"_q << LogTail::State::Ready;
    }

    void tellsWhyThereIsNothing()
    {
        QFETCH(const QString, name);
        QVERIFY(write(path("file"_q), "a\n") && ::mkfifo(qPrintable(path("fifo"_q)), 0600) == 0);
        const QStringList links
            = {"none"_q, "dangling"_q, "loop"_q, "loop"_q, "file"_q, "link"_q, "/dev/zero"_q, "device"_q};
        for (int number = 0; number < links.size(); number += 2)
            QVERIFY(QFile::link(links.at(number), path(links.at(number + 1))));
        Tail tail;
        tail.setPath(path(name));
        QTRY_VERIFY_WITH_TIMEOUT(tail.state() != LogTail::State::Loading, kEnoughMs);
        QTEST(tail.state(), "state");

        const QString good = path("good"_q);
        QVERIFY(write(good, "b\n"));
        tail.setPath(good);
        QTRY_COMPARE_WITH_TIMEOUT(texts(tail), QStringList("b"_q), kEnoughMs);
    }

    void showsTheLastOfManyPaths()
    {
        QVERIFY(write(path("large"_q), QByteArray("x\n").repeated(kMebibyte * 8)) && write(path("b.log"_q), "b\n"));
        Tail tail;
        View view(tail);
        for (int number = 0; number < 1000; ++number) {
            tail.setPath(path(number % 2 == 0 ? "large"_q : "b.log"_q));
            tail.setLowestLevel(number % 3 == 0 ? LogTail::Level::Fatal : LogTail::Level::None);
            if (number % 50 == 0)
                QTest::qWait(number % 7);
        }
        QTRY_COMPARE_WITH_TIMEOUT(tail.state(), LogTail::State::Ready, kEnoughMs);
        tail.setLowestLevel(LogTail::Level::None);
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, QStringList("b"_q), kEnoughMs);
    }

    // A slot that deletes the model, or sets another path, at each of its signals.
    void bearsSlotsThatEndIt_data()
    {
        QTest::addColumn<QByteArray>("signal");
        QTest::addColumn<QString>("cause");
        const auto add = [](const char *signal, const char *cause) {
            QTest::addRow("%s by %s", signal, cause) << QByteArray(signal) << QString::fromLatin1(cause);
        };
        add("pathChanged()", "path");
        add("lowestLevelChanged()", "level");
        add("followingChanged()", "following");
        for (const char *cause : {"path", "level"}) {
            for (const char *signal : {"modelAboutToBeReset()", "modelReset()", "countChanged()", "stateChanged()"})
                add(signal, cause);
        }
        add("countChanged()", "growth");
        add("rowsInserted(QModelIndex,int,int)", "growth");
        add("rowsRemoved(QModelIndex,int,int)", "growth of the full list");
        add("dataChanged(QModelIndex,QModelIndex,QVector<int>)", "growth");
    }

    void bearsSlotsThatEndIt()
    {
        QFETCH(const QByteArray, signal);
        QFETCH(const QString, cause);
        QVERIFY(write(path("b.log"_q), "b\n"));
        const int slot = metaObject()->indexOfSlot("endTail()");
        for (const bool isDeleted : {true, false}) {
            const int number = cause == "growth of the full list"_q ? 2000 : 10;
            QVERIFY(write(path(), records(1, number).chopped(2)));
            const std::unique_ptr<QObject> owner(new QObject);
            m_tail = new Tail(owner.get());
            m_tail->setPath(path());
            QTRY_COMPARE_WITH_TIMEOUT(m_tail->count(), number, kEnoughMs);
            m_ending = isDeleted ? QString() : path("b.log"_q);
            QMetaObject::connect(m_tail, m_tail->metaObject()->indexOfSignal(signal.constData()), this, slot);
            if (cause == "path"_q)
                m_tail->setPath(QString());
            else if (cause == "level"_q)
                m_tail->setLowestLevel(LogTail::Level::Fatal);
            else if (cause == "following"_q)
                m_tail->setFollowing(false);
            else
                QVERIFY(append(path(), "x\n\n" + records(1, 3)));
            QTRY_VERIFY_WITH_TIMEOUT(isDeleted ? m_tail.isNull() : m_tail->path() == m_ending, kEnoughMs);
            if (!isDeleted) {
                m_tail->setLowestLevel(LogTail::Level::None);
                QTRY_COMPARE_WITH_TIMEOUT(texts(*m_tail), QStringList("b"_q), kEnoughMs);
            }
        }
    }

    void outlivesARefusedThread()
    {
        QVERIFY(write(path(), "a\n"));
        LogTail tail;
        hasThreads = false;
        tail.setPath(path());
        hasThreads = true;
        QTRY_COMPARE_WITH_TIMEOUT(tail.state(), LogTail::State::Unreadable, kEnoughMs);
        tail.setLowestLevel(LogTail::Level::Debug);
        QTRY_COMPARE_WITH_TIMEOUT(tail.state(), LogTail::State::Ready, kEnoughMs);
    }

    void endsSoon_data()
    {
        QTest::addColumn<bool>("hangs");
        QTest::newRow("while it reads") << false;
        QTest::newRow("while a file can't be opened") << true;
    }

    void endsSoon()
    {
        QFETCH(const bool, hangs);
        QVERIFY(write(path(), QByteArray(64 * kMebibyte, 'x')));
        int guard = -1;
        if (hangs) {
            // As long as the guard doesn't answer, nobody's call of open() returns.
            guard = ::fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC | FAN_NONBLOCK, O_RDONLY);
            if (guard < 0 || ::fanotify_mark(guard, FAN_MARK_ADD, FAN_OPEN_PERM, AT_FDCWD, qPrintable(path())) != 0) {
                QTest::qSkip("Only root can make a file hang", __FILE__, __LINE__);
                return;
            }
        }
        for (int delay = 0; delay < (hangs ? 1 : 10); ++delay) {
            auto tail = std::make_unique<Tail>();
            tail->setPath(path());
            fanotify_event_metadata event = {};
            if (hangs) {
                pollfd asked = {guard, POLLIN, 0};
                QTRY_COMPARE_WITH_TIMEOUT(::poll(&asked, 1, 0), 1, kEnoughMs);
                QVERIFY(::read(guard, &event, sizeof event) > 0);
            } else
                QTest::qWait(delay);
            QElapsedTimer timer;
            timer.start();
            tail.reset();
            QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
            if (hangs)
                ::close(event.fd);
        }
        if (hangs)
            ::close(guard);
    }

    // A writer disturbs each look. When it has done, the model agrees with the file.
    void agreesInTheEnd_data()
    {
        QTest::addColumn<int>("way");
        QTest::newRow("the file grows") << 0;
        QTest::newRow("the file is replaced by a longer one") << 1;
        QTest::newRow("the file is truncated and written anew") << 2;
        QTest::newRow("the file is truncated while read") << 3;
    }

    void agreesInTheEnd()
    {
        QFETCH(const int, way);
        Tail tail;
        View view(tail);
        QVERIFY(write(path(), records(0, 9)));
        tail.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(tail.count(), 10, kEnoughMs);

        std::atomic<bool> isOver{false};
        std::atomic<bool> isGood{true};
        const QByteArray large = QByteArray("x\n").repeated(kMebibyte);
        std::thread writer([&] {
            int number = 10;
            for (; !isOver; ++number) {
                const QString name = way == 1 ? path("new"_q) : path();
                bool isDone = false;
                if (way == 0)
                    isDone = append(name, records(number, number));
                else if (way == 3)
                    isDone = write(name, large) && ::truncate(qPrintable(name), number % 1000) == 0;
                else
                    isDone = write(name, records(number, number + number % 20));
                if (way == 1)
                    isDone = isDone && std::rename(qPrintable(name), qPrintable(path())) == 0;
                isGood = isGood && isDone;
                QThread::usleep(1000);
            }
            isGood = isGood && append(path(), "\n" + record("last"));
        });
        QTest::qWait(2500);
        const int insertions = view.insertions;
        isOver = true;
        writer.join();
        QVERIFY(isGood);
        QTRY_VERIFY_WITH_TIMEOUT(tail.count() > 0 && texts(tail).constLast() == "last"_q, kEnoughMs);

        Tail fresh;
        fresh.setPath(path());
        QTRY_COMPARE_WITH_TIMEOUT(fresh.state(), LogTail::State::Ready, kEnoughMs);
        QTRY_COMPARE_WITH_TIMEOUT(view.shown, texts(fresh), kEnoughMs);
        if (way == 0) {
            QCOMPARE(view.resets, 1);
            QVERIFY2(insertions >= 2 && insertions <= 27, qPrintable(QString::number(insertions)));
        }
    }

public Q_SLOTS:
    void endTail()
    {
        if (!m_tail)
            return;
        if (m_ending.isEmpty())
            delete m_tail;
        else
            m_tail->setPath(m_ending);
    }

private:
    QPointer<LogTail> m_tail;
    QString m_ending; // The path to set, or empty to delete.
};

QTEST_GUILESS_MAIN(tst_LogTail)
#include "tst_logtail.moc"
