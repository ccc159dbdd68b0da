// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Hosts that end in many ways, each in a process of its own, and their successors.
// BRINDLECAST_EFFORT=100 in the environment makes it take its time.

#include "support/Load.h"
#include "support/TestSupport.h"

#include <QMap>
#include <QRegularExpression>
#include <QTest>

#include <csignal>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

Q_DECLARE_METATYPE(std::function<void()>)

namespace {

enum class Disk { Sound, Full, Deadly, Stalled };
std::atomic<Disk> disk{Disk::Sound};
std::atomic<int> bytesTaken{0}; // By a write on a disk that is not sound.

QString keptPath()
{
    static const QString path = "/dev/shm/brindlecast-test-%1"_q.arg(::getpid());
    return path;
}

int effort(int amount)
{
    const int factor = qEnvironmentVariableIntValue("BRINDLECAST_EFFORT");
    return factor > 0 ? amount * factor : amount;
}

// Runs `host` as a new process; how it ended: its exit status, or minus its signal.
int run(const std::function<void()> &host, useconds_t killedAfterUs = 0)
{
    const pid_t process = ::fork();
    if (process == 0) {
        ::alarm(60);
        const rlimit noCore = {0, 0};
        ::setrlimit(RLIMIT_CORE, &noCore);
        for (const int caught : {SIGSEGV, SIGABRT, SIGTERM, SIGBUS}) // By QtTest.
            std::signal(caught, SIG_DFL);
        host();
        std::exit(0);
    }
    if (killedAfterUs > 0) {
        ::usleep(killedAfterUs);
        ::kill(process, SIGKILL);
    }
    int end = 0;
    ::waitpid(process, &end, 0);
    return WIFEXITED(end) ? WEXITSTATUS(end) : -WTERMSIG(end);
}

QtDebugLogger *startLogging(int bytes = 512 * 1024)
{
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    if (!logger->keepWaitingLines(keptPath(), bytes))
        std::_Exit(9);
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    return logger;
}

void raiseAll(int from, int to)
{
    for (int number = from; number < to; ++number)
        raise(0, number);
}

void succeed()
{
    startLogging()->flush(30000);
}

// A host that leaves lines behind.
void dieWaiting(int from, int to)
{
    QtDebugLogger *const logger = startLogging();
    logger->stopThread();
    raiseAll(from, to);
    ::raise(SIGKILL);
}

struct Tally
{
    QMap<int, QList<int>> numbers; // By source.
    int broken = 0;
    qint64 lost = 0; // As told.
    QByteArray others;
};

Tally tally()
{
    static const QRegularExpression pattern("^\\[[-0-9]{10} [:0-9]{8}\\] <\\w+:> \\S* \\d+: (?:t(\\d) (\\d+)\\. *\\|"
                                            "|at least (\\d+) lines were lost: .*)$"_q);
    Tally result;
    QByteArray bytes = writtenLogs();
    bytes.truncate(int(std::remove(bytes.begin(), bytes.end(), '\0') - bytes.begin())); // Of a file made longer.
    if (!bytes.isEmpty() && !bytes.endsWith("\n\n"))
        ++result.broken;
    for (int begin = 0, end = 0; begin < bytes.size(); begin = end + 2) {
        end = bytes.indexOf("\n\n", begin);
        end = end < 0 ? bytes.size() : end;
        const QByteArray line = bytes.mid(begin, end - begin);
        const QRegularExpressionMatch match = pattern.match(QString::fromUtf8(line));
        if (!match.captured(3).isEmpty())
            result.lost += match.captured(3).toLongLong();
        else if (match.hasMatch())
            result.numbers[match.captured(1).toInt()].append(match.captured(2).toInt());
        else
            ++result.broken;
        if (!match.hasMatch())
            result.others = line;
    }
    return result;
}

QList<int> numbersTo(int end)
{
    QList<int> numbers;
    for (int number = 0; number < end; ++number)
        numbers.append(number);
    return numbers;
}

} // namespace

// In the place of the C library's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" Q_DECL_EXPORT ssize_t write(int descriptor, const void *bytes, size_t size)
{
    using Write = ssize_t (*)(int, const void *, size_t);
    static const auto realWrite = reinterpret_cast<Write>(::dlsym(RTLD_NEXT, "write"));
    struct stat status = {};
    const bool isLog = disk.load() != Disk::Sound && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (!isLog)
        return realWrite(descriptor, bytes, size);
    const auto taken = qMin(size, static_cast<size_t>(bytesTaken.exchange(0)));
    const ssize_t written = taken > 0 ? realWrite(descriptor, bytes, taken) : 0;
    if (disk.load() == Disk::Deadly)
        ::raise(SIGKILL);
    while (disk.load() == Disk::Stalled) // A point where a thread can be cancelled.
        ::usleep(1000);
    errno = ENOSPC;
    return written > 0 ? written : -1;
}

class tst_KeptLines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        struct statfs fileSystem = {};
        if (::statfs("/dev/shm", &fileSystem) != 0 || fileSystem.f_type != 0x01021994)
            QSKIP("needs /dev/shm in memory");
        qputenv("QT_FORCE_STDERR_LOGGING", "1");
    }

    void init()
    {
        QVERIFY(removeLogDirectory());
        QFile::remove(keptPath());
    }

    void cleanup() { QFile::remove(keptPath()); }

    void survivesTheProcess_data()
    {
        QTest::addColumn<std::function<void()>>("end");
        QTest::addColumn<int>("lines");
        const QMap<QByteArray, std::function<void()>> ends
            = {{"SIGSEGV", [] { ::raise(SIGSEGV); }},
               {"SIGTERM", [] { ::raise(SIGTERM); }},
               {"SIGKILL", [] { ::raise(SIGKILL); }},
               {"abort", [] { std::abort(); }},
               {"_exit", [] { ::_exit(0); }},
               {"quick_exit", [] { std::quick_exit(0); }},
               {"qFatal", [] { qFatal("t0 %d.|", 1000000); }},
               {"exec of itself", [] { ::execl("/proc/self/exe", "host", "--successor", nullptr); }}};
        for (auto end = ends.cbegin(); end != ends.cend(); ++end) {
            for (const int lines : {1, 5, 200})
                QTest::addRow("%s after %d lines", end.key().constData(), lines) << end.value() << lines;
        }
    }
    void survivesTheProcess()
    {
        QFETCH(std::function<void()>, end);
        QFETCH(int, lines);
        const bool isFatal = qstrncmp(QTest::currentDataTag(), "qFatal", 6) == 0;
        for (int attempt = 0; attempt < effort(1); ++attempt) {
            init();
            qputenv("BRINDLECAST_KEPT", keptPath().toUtf8());
            run([&end, lines] {
                startLogging();
                raiseAll(0, lines);
                end();
            });
            QCOMPARE(run(succeed), 0);
            const Tally found = tally();
            QCOMPARE(found.numbers[0], numbersTo(lines) + (isFatal ? QList<int>{1000000} : QList<int>{}));
            QVERIFY(found.broken == 0 && found.lost == 0);
        }
    }

    void isKilledUnderLoad()
    {
        using Raised = std::array<std::atomic<int>, 4>;
        auto &raised = *static_cast<Raised *>(
            ::mmap(nullptr, sizeof(Raised), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        qint64 lines = 0;
        qint64 told = 0;
        for (int attempt = 0; attempt < effort(6); ++attempt) {
            init();
            for (std::atomic<int> &one : raised)
                one.store(0);
            const int patience = lines > 0 ? 1 : attempt + 1; // An emulator starts slowly.
            const auto randomUs = [patience] { return 2000 + std::random_device()() % (80000 * unsigned(patience)); };
            run(
                [&raised, attempt] {
                    startLogging();
                    std::vector<std::thread> threads;
                    for (int source = 0; source < 4; ++source) {
                        threads.emplace_back([&raised, source, attempt] {
                            std::minstd_rand random(std::random_device{}());
                            for (int number = 0;; ++number) {
                                raise(source, number, int(random() % 3000));
                                raised.at(size_t(source)).store(number + 1);
                                if (attempt % 2 != 0) // Flat out, most don't fit.
                                    ::usleep(200);
                            }
                        });
                    }
                    ::pause();
                },
                randomUs());
            if (attempt % 3 == 2)
                run(succeed, 1000 + std::random_device()() % 20000);
            QCOMPARE(run(succeed), 0);
            const Tally found = tally();
            QVERIFY2(found.broken == 0, found.others.constData());
            qint64 missing = 0;
            for (int source = 0; source < 4; ++source) {
                const QList<int> numbers = found.numbers[source];
                QVERIFY2(std::adjacent_find(numbers.cbegin(), numbers.cend(), std::greater_equal<>()) == numbers.cend(),
                         "doubled, or out of order");
                const int sure = raised.at(size_t(source)).load();
                missing += sure - std::count_if(numbers.cbegin(), numbers.cend(), [sure](int n) { return n < sure; });
                lines += numbers.size();
            }
            told += found.lost;
            QVERIFY2(missing <= found.lost, qPrintable("%1 missing, %2 told"_q.arg(missing).arg(found.lost)));
            QVERIFY2(missing >= found.lost - 4, qPrintable("%1 missing, %2 told"_q.arg(missing).arg(found.lost)));
        }
        QVERIFY(lines > 0);
        qInfo("%lld lines are there, %lld are told as lost", lines, told);
    }

    void isKilledInAWrite()
    {
        for (int bytes = 0; bytes<700; bytes += effort(1)> 1 ? 1 : 41) {
            init();
            const int end = run([bytes] {
                QtDebugLogger *const logger = startLogging();
                raiseAll(0, 3);
                logger->flush(30000);
                logger->stopThread();
                raiseAll(3, 13);
                bytesTaken.store(bytes);
                disk.store(Disk::Deadly);
                logger->startThread();
                logger->flush(30000);
            });
            QCOMPARE(end, -SIGKILL);
            QCOMPARE(run(succeed), 0);
            const Tally found = tally();
            QCOMPARE(found.numbers[0], numbersTo(13));
            QVERIFY(found.broken == 0 && found.lost == 0);
        }
    }

    // With a write cut short, a full queue and lines outside the file behind it.
    void isKilledAtEverySystemCallOfTheRecovery()
    {
        const auto prepare = [] {
            run([] {
                QtDebugLogger *const logger = startLogging(1);
                logger->stopThread();
                raiseAll(0, 300);
                bytesTaken.store(200);
                disk.store(Disk::Deadly);
                logger->startThread();
                logger->flush(30000);
            });
        };
        bool isOver = false;
        int kills = 0;
        for (int call = 1; !isOver; call += effort(1) > 1 ? 1 : 1 + int(std::random_device()() % 10)) {
            init();
            prepare();
            const pid_t process = ::fork();
            if (process == 0) {
                if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
                    ::_exit(0);
                ::raise(SIGSTOP);
                succeed();
                ::_exit(0);
            }
            int status = 0;
            ::waitpid(process, &status, 0);
            if (!WIFSTOPPED(status))
                QSKIP("processes can't be traced here");
            ::ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE);
            ::ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
            for (int calls = 0; calls < call;) {
                const pid_t stopped = ::waitpid(-1, &status, __WALL);
                if (stopped == process && !WIFSTOPPED(status)) {
                    isOver = true;
                    break;
                }
                if (!WIFSTOPPED(status))
                    continue;
                const int signal = WSTOPSIG(status);
                calls += signal == (SIGTRAP | 0x80) ? 1 : 0;
                const bool isSignal = signal != (SIGTRAP | 0x80) && signal != SIGTRAP && signal != SIGSTOP;
                ::ptrace(PTRACE_SYSCALL, stopped, nullptr, isSignal ? signal : 0);
            }
            if (!isOver) {
                ::kill(process, SIGKILL);
                ++kills;
                while (::waitpid(-1, &status, __WALL) > 0) { }
            }
            QCOMPARE(run(succeed), 0);
            const Tally found = tally();
            QVERIFY2(found.broken == 0, found.others.constData());
            QList<int> numbers = found.numbers[0];
            QVERIFY2(numbers.size() + found.lost == 300,
                     qPrintable("%1 and %2 after %3 calls"_q.arg(numbers.size()).arg(found.lost).arg(call)));
            QVERIFY(std::is_sorted(numbers.cbegin(), numbers.cend()));
        }
        QVERIFY(kills > 10);
        qInfo("%d recoveries were killed", kills);
    }

    void findsItsPlace_data()
    {
        QTest::addColumn<std::function<void()>>("change");
        QTest::addColumn<int>("first"); // Of the numbers that are left.
        const auto file = [] { return logDirectory() + logNames().constLast(); };
        QTest::newRow("as it was") << std::function<void()>([] {}) << 0;
        QTest::newRow("file removed") << std::function<void()>([file] { QFile::remove(file()); }) << 3;
        QTest::newRow("folder removed") << std::function<void()>([] { removeLogDirectory(); }) << 3;
        QTest::newRow("file full") << std::function<void()>([file] { QFile::resize(file(), 52428800); }) << 0;
        QTest::newRow("file is a link") << std::function<void()>([file] {
            const QString path = file();
            QFile::remove(path);
            QFile::link("/dev/null"_q, path);
        }) << 3;
        QTest::newRow("two more lives") << std::function<void()>([] {
            run([] { dieWaiting(0, 0); });
            run([] { ::_exit(QtDebugLogger::getInstance()->keepWaitingLines(keptPath()) ? 0 : 1); });
        }) << 0;
    }
    void findsItsPlace()
    {
        QFETCH(std::function<void()>, change);
        QFETCH(int, first);
        QCOMPARE(run([] {
                     QtDebugLogger *const logger = startLogging();
                     raiseAll(0, 3);
                     logger->flush(30000);
                     logger->stopThread();
                     raiseAll(3, 10);
                     logger->clearData();
                     logger->setLogCategoryEnabled(true, 1);
                     raiseAll(10, 20);
                     ::raise(SIGKILL);
                 }),
                 -SIGKILL);
        const QString former = logNames().constLast();
        change();
        QTest::qSleep(1100); // Files of another second.
        QCOMPARE(run([] {
                     QtDebugLogger *const logger = startLogging();
                     raiseAll(20, 23);
                     logger->flush(30000);
                 }),
                 0);
        const Tally found = tally();
        QCOMPARE(found.numbers[0], numbersTo(23).mid(first));
        QVERIFY2(found.broken == 0, found.others.constData());
        if (qstrcmp(QTest::currentDataTag(), "as it was") == 0)
            QCOMPARE(fileContents(logDirectory() + former).count("\n\n"), 10);
        // An end leaves nothing behind.
        QCOMPARE(run(succeed), 0);
        QCOMPARE(tally().numbers[0].size(), 23 - first);
    }

    void waitsOutAFullDisk()
    {
        const auto fillDisk = [](QtDebugLogger *logger, int from, int to) {
            bytesTaken.store(20);
            disk.store(Disk::Full);
            raiseAll(from, to);
            logger->flush(30000);
        };
        for (const bool exits : {false, true}) {
            init();
            run([&] {
                QtDebugLogger *const logger = startLogging();
                raiseAll(0, 10);
                logger->flush(30000);
                fillDisk(logger, 10, 30);
                disk.store(Disk::Sound);
                raiseAll(30, 40);
                logger->flush(30000);
                fillDisk(logger, 40, 90);
                exits ? std::exit(0) : std::abort();
            });
            QCOMPARE(tally().numbers[0], numbersTo(40));
            run([&] {
                disk.store(Disk::Full);
                QtDebugLogger *const logger = startLogging();
                fillDisk(logger, 90, 100);
                exits ? std::exit(0) : std::abort();
            });
            QCOMPARE(tally().numbers[0], numbersTo(40));
            QCOMPARE(run(succeed), 0);
            QCOMPARE(tally().numbers[0], numbersTo(100));
            QVERIFY(tally().broken == 0);
        }
    }

    void isCutOffInAStalledWrite()
    {
        for (const bool isKilled : {false, true}) {
            init();
            run([isKilled] {
                QtDebugLogger *const logger = startLogging();
                raiseAll(0, 3);
                logger->flush(30000);
                logger->stopThread();
                raiseAll(3, 30);
                bytesTaken.store(200);
                disk.store(Disk::Stalled);
                logger->startThread();
                while (bytesTaken.load() != 0)
                    ::usleep(1000);
                logger->stopThread();
                if (isKilled)
                    ::raise(SIGKILL);
                disk.store(Disk::Sound);
                logger->startThread();
                logger->flush(30000);
                raiseAll(30, 40);
            });
            QCOMPARE(run(succeed), 0);
            const Tally found = tally();
            QCOMPARE(found.numbers[0], numbersTo(isKilled ? 30 : 40));
            QVERIFY(found.broken == 0 && found.lost == 0);
        }
    }

    void tellsWhatDidNotFit_data()
    {
        QTest::addColumn<int>("bytes");
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("isComplete");
        QTest::newRow("1,500 lines in the usual size") << 512 * 1024 << 1500 << true;
        QTest::newRow("5,000 lines") << 512 * 1024 << 5000 << false;
        QTest::newRow("100 lines in the least size") << 0 << 100 << true;
        QTest::newRow("less than nothing") << std::numeric_limits<int>::min() << 100 << true;
        QTest::newRow("a chunk and a byte") << 32 * 1024 + 1 << 1000 << false;
    }
    void tellsWhatDidNotFit()
    {
        QFETCH(int, bytes);
        QFETCH(int, lines);
        QFETCH(bool, isComplete);
        run([=] {
            startLogging(bytes)->stopThread();
            raiseAll(0, lines);
            ::raise(SIGKILL);
        });
        QCOMPARE(run(succeed), 0);
        const Tally found = tally();
        QCOMPARE(found.numbers[0].size() + found.lost, qint64(lines));
        QCOMPARE(found.lost == 0, isComplete);
        QVERIFY(found.broken == 0);
        QCOMPARE(found.numbers[0], numbersTo(found.numbers[0].size()));
    }

    void keepsLinesThatAHostSees()
    {
        run([] {
            QtDebugLogger *const logger = startLogging();
            QObject::connect(logger, &QtDebugLogger::handleIOSignal, [] {});
            logger->stopThread();
            raiseAll(0, 50);
            ::raise(SIGKILL);
        });
        QCOMPARE(run(succeed), 0);
        QCOMPARE(tally().numbers[0], numbersTo(50));
    }

    void believesNothing()
    {
        run([] {
            QtDebugLogger *const logger = startLogging(1);
            raiseAll(0, 3);
            logger->flush(30000);
            logger->stopThread();
            raiseAll(3, 200);
            bytesTaken.store(200);
            disk.store(Disk::Deadly);
            logger->startThread();
            logger->flush(30000);
        });
        const QByteArray kept = fileContents(keptPath());
        const QByteArray log = writtenLogs();
        const QString logName = logNames().constFirst();
        QVERIFY(kept.size() > 65536);
        std::minstd_rand random(std::random_device{}());
        for (int attempt = 0; attempt < effort(20); ++attempt) {
            init();
            QVERIFY(makeFile(logDirectory() + logName));
            QVERIFY(makeFile(logDirectory() + "../outside.log"_q, 1000));
            QByteArray damaged = kept;
            for (unsigned i = 0, changes = 1 + unsigned(random() % 30); i < changes; ++i) {
                // Most of what matters lies at the beginnings and ends of the header and of the chunks.
                const int blocks[] = {0, 4096, 8192, 8192 + 32768};
                int place = int(random() % unsigned(kept.size()));
                if (random() % 4 != 0)
                    place = blocks[random() % 4] + int(random() % 700);
                if (random() % 4 == 0)
                    place = 8192 + 32768 * int(1 + random() % 2) - 1 - int(random() % 700);
                damaged[place] = random() % 2 == 0 ? char(random()) : char(damaged[place] ^ (1 << random() % 8));
            }
            if (attempt % 10 == 9)
                damaged.truncate(int(random() % unsigned(kept.size())));
            if (attempt % 20 == 18) {
                for (int i = 16; i < damaged.size(); ++i)
                    damaged[i] = char(random());
            }
            for (const auto &[path, bytes] : {std::pair(keptPath(), damaged), {logDirectory() + logName, log}}) {
                QFile file(path);
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
            }
            ::chmod(keptPath().toUtf8().constData(), 0600);
            const int end = run(succeed);
            QVERIFY2(end == 0 || end == 9, qPrintable("It ended with %1"_q.arg(end)));
            QCOMPARE(fileContents(logDirectory() + "../outside.log"_q), QByteArray(1000, '\0'));
            QCOMPARE(QDir(logDirectory() + ".."_q).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 2);
            QVERIFY(fileContents(logDirectory() + logName).startsWith(log.left(log.indexOf("t0 2."))));
        }
    }

    void refusesWhatIsNotSafelyOurs_data()
    {
        QTest::addColumn<std::function<void()>>("prepare");
        QTest::addColumn<bool>("isTaken");
        const auto path = [] { return keptPath().toUtf8(); };
        const auto make = [path](const QByteArray &bytes) {
            QFile file(keptPath());
            file.open(QIODevice::WriteOnly) && file.write(bytes);
            file.close();
            ::chmod(path().constData(), 0600);
        };
        const auto row = [](const char *name, const std::function<void()> &prepare, bool isTaken = false) {
            QTest::newRow(name) << prepare << isTaken;
        };
        row(
            "missing", [] {}, true);
        row(
            "empty", [make] { make({}); }, true);
        row(
            "all zeros", [make] { make(QByteArray(100000, '\0')); }, true);
        row("somebody's", [make] { make("notes"); });
        row("wider mode", [make, path] {
            make({});
            ::chmod(path().constData(), 0640);
        });
        row("foreign owner", [make, path] {
            make({});
            ::geteuid() == 0 ? ::chown(path().constData(), 1, 1) : ::chmod(path().constData(), 0666);
        });
        row("hard link", [make, path] {
            make({});
            ::link(path().constData(), (path() + ".link").constData());
        });
        row("symbolic link", [make, path] {
            make({});
            ::rename(path().constData(), (path() + ".link").constData());
            ::symlink((path() + ".link").constData(), path().constData());
        });
        row("FIFO", [path] { ::mkfifo(path().constData(), 0600); });
        row("folder", [path] { ::mkdir(path().constData(), 0700); });
    }
    void refusesWhatIsNotSafelyOurs()
    {
        QFETCH(std::function<void()>, prepare);
        QFETCH(bool, isTaken);
        prepare();
        struct stat before = {};
        ::lstat(keptPath().toUtf8().constData(), &before);
        const int end = run(succeed);
        struct stat after = {};
        ::lstat(keptPath().toUtf8().constData(), &after);
        ::unlink((keptPath() + ".link"_q).toUtf8().constData());
        ::rmdir(keptPath().toUtf8().constData());
        QCOMPARE(end, isTaken ? 0 : 9);
        QVERIFY(isTaken
                || (before.st_ino == after.st_ino && before.st_mode == after.st_mode && before.st_size == after.st_size
                    && before.st_mtime == after.st_mtime));
    }

    void refusesAtAWrongMoment()
    {
        const int end = run([] {
            QtDebugLogger *const logger = QtDebugLogger::getInstance();
            const QString onDisk = logDirectory() + "kept"_q;
            if (logger->keepWaitingLines(onDisk) || QFile::exists(onDisk) || logger->keepWaitingLines("/dev/shm/-/-"_q)
                || logger->keepWaitingLines(QString()))
                std::_Exit(2);
            startLogging();
            if (logger->keepWaitingLines(keptPath()))
                std::_Exit(3);
            const int other = run([] { // The parent has it, and a child has no logger.
                std::_Exit(QtDebugLogger::getInstance()->keepWaitingLines(keptPath()) ? 1 : 0);
            });
            std::_Exit(other);
        });
        QCOMPARE(end, 0);

        // A process that runs has it, a child that outlives its parent has not.
        int ready[2] = {};
        QCOMPARE(::pipe(ready), 0);
        const pid_t holder = ::fork();
        if (holder == 0) {
            startLogging();
            const pid_t child = ::fork();
            if (child == 0) {
                const bool isReady = ::write(ready[1], "x", 1) == 1;
                Q_UNUSED(isReady)
                ::sleep(3);
                ::_exit(0);
            }
            QFile copy(keptPath()); // The lock is the open file's, not the process's.
            copy.open(QIODevice::ReadOnly);
            copy.close();
            ::pause();
        }
        char byte = 0;
        QCOMPARE(::read(ready[0], &byte, 1), ssize_t(1));
        QCOMPARE(run(succeed), 9);
        ::kill(holder, SIGKILL);
        ::waitpid(holder, nullptr, 0);
        QCOMPARE(run(succeed), 0);
        ::close(ready[0]);
        ::close(ready[1]);
    }
};

int main(int argc, char *argv[])
{
    if (argc == 2 && qstrcmp(argv[1], "--successor") == 0) {
        const bool isKept = QtDebugLogger::getInstance()->keepWaitingLines(qEnvironmentVariable("BRINDLECAST_KEPT"));
        QtDebugLogger::getInstance()->enableOutputFile();
        return isKept && QtDebugLogger::getInstance()->flush(30000) ? 0 : 9;
    }
    tst_KeptLines test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_keptlines.moc"
