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
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

using Action = std::function<void()>;
Q_DECLARE_METATYPE(Action)

namespace {

enum class Disk { Sound, Full, Deadly, Stalled };
std::atomic<Disk> disk{Disk::Sound};
std::atomic<int> bytesTaken{0}; // By a write on a disk that is not sound.

QString keptPath()
{
    static const QString path = "/dev/shm/brindlecast-test-%1"_q.arg(::getpid());
    return path;
}

int effort()
{
    return qMax(1, qEnvironmentVariableIntValue("BRINDLECAST_EFFORT"));
}

// Runs `host` as a new process; how it ended: its exit status, or minus its signal.
int run(const Action &host, useconds_t killedAfterUs = 0)
{
    const pid_t process = ::fork();
    if (process == 0) {
        ::alarm(100);
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

// The lines from number `from` to `to` - 1 meet a disk that, if it is not sound, takes some bytes more.
void raiseOn(Disk kind, int bytes, int from, int to)
{
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->stopThread();
    raiseAll(from, to);
    bytesTaken.store(bytes);
    disk.store(kind);
    logger->startThread();
    while (kind == Disk::Stalled && bytesTaken.load() != 0)
        ::usleep(1000);
    if (kind != Disk::Stalled && logger->flush(60000) != (kind == Disk::Sound))
        std::_Exit(8);
}

[[noreturn]] void startSuccessor()
{
    qputenv("BRINDLECAST_KEPT", keptPath().toUtf8());
    ::execl("/proc/self/exe", "host", "--successor", nullptr);
    std::_Exit(7);
}

// By a slot.
void raiseOnWriterThread(int number)
{
    FileIOObjectPointer request(new FileIOObject(nullptr));
    QObject::connect(request.data(), &QObject::destroyed, [number] { raise(0, number); });
    Q_EMIT QtDebugLogger::getInstance()->handleIOSignal(std::exchange(request, {}));
    QtDebugLogger::getInstance()->flush(60000);
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner)
        && file.write(bytes) == bytes.size();
}

struct Tally
{
    QMap<int, QList<int>> numbers; // By source.
    qint64 lost = 0; // As told.
    QByteArray text; // All of it: "0-2 5-9 10, lost 3".
};

Tally tally(bool showsFiles = false) // "0-2 5-9 | 10, lost 3": the first file and the others.
{
    static const QRegularExpression pattern("^\\[[-0-9]{10} [:0-9]{8}\\] <\\w+:> \\S* \\d+: (?:t(\\d) (\\d+)\\. *\\|"
                                            "|at least (\\d+) lines were lost: .*)$"_q);
    Tally result;
    QByteArrayList ranges;
    int next = -1;
    int first = 0;
    const QStringList names = logNames();
    for (const QString &name : names) {
        if (showsFiles && !ranges.isEmpty() && !ranges.contains("|")) {
            ranges.append("|");
            next = -1;
        }
        QByteArray bytes = fileContents(logDirectory() + name);
        bytes.truncate(int(std::remove(bytes.begin(), bytes.end(), '\0') - bytes.begin())); // Of a file made longer.
        for (decltype(bytes.size()) begin = 0, end = 0; begin < bytes.size(); begin = end + 2) {
            end = bytes.indexOf("\n\n", begin);
            const QByteArray line = bytes.mid(begin, end - begin);
            const QRegularExpressionMatch match = pattern.match(QString::fromUtf8(line));
            const int number = match.captured(2).toInt();
            if (end < 0 || !match.hasMatch()) {
                ranges.append("broken: " + line);
                end = end < 0 ? bytes.size() : end;
            } else if (!match.captured(3).isEmpty()) {
                result.lost += match.captured(3).toLongLong();
            } else {
                result.numbers[match.captured(1).toInt()].append(number);
                if (number != next)
                    ranges.append(QByteArray::number(first = number));
                else
                    ranges.last() = QByteArray::number(first) + "-" + QByteArray::number(number);
                next = number + 1;
            }
        }
    }
    result.text = ranges.join(' ') + (result.lost > 0 ? ", lost " + QByteArray::number(result.lost) : QByteArray());
    return result;
}

void succeed()
{
    startLogging()->flush(60000);
}

// What the files hold after one more start.
QByteArray recovered(bool showsFiles = false)
{
    const int end = run(succeed);
    return end == 0 ? tally(showsFiles).text : "ended with " + QByteArray::number(end);
}

QByteArray rangeTo(int end)
{
    return end > 1 ? "0-" + QByteArray::number(end - 1) : "0";
}

ssize_t realWrite(int descriptor, const void *bytes, size_t size)
{
    return reinterpret_cast<decltype(write) *>(::dlsym(RTLD_NEXT, "write"))(descriptor, bytes, size);
}

ssize_t writePart(int descriptor, const void *bytes, size_t size)
{
    const size_t taken = qMin(size, static_cast<size_t>(bytesTaken.exchange(0)));
    return taken > 0 ? realWrite(descriptor, bytes, taken) : 0;
}

} // namespace

// In the place of the C library's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" Q_DECL_EXPORT ssize_t write(int descriptor, const void *bytes, size_t size)
{
    // No variable in memory: the address sanitizer misses that a cancelled thread leaves its stack.
    if (disk.load() == Disk::Sound || descriptor <= STDERR_FILENO || ::lseek(descriptor, 0, SEEK_CUR) < 0)
        return realWrite(descriptor, bytes, size);
    const ssize_t written = writePart(descriptor, bytes, size);
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
            QTest::qSkip("needs /dev/shm in memory", __FILE__, __LINE__);
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
        QTest::addColumn<Action>("host");
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("isComplete");
        const auto row = [](const char *name, int lines, const Action &host, bool isComplete = true) {
            QTest::addRow("%s, %d lines", name, lines) << host << lines << isComplete;
        };
        for (const int lines : {1, 5, 200}) {
            const auto dies = [row, lines](const char *way, const Action &die) {
                row(way, lines, [lines, die] {
                    startLogging();
                    raiseAll(0, lines);
                    die();
                });
            };
            dies("SIGSEGV", [] { ::raise(SIGSEGV); });
            dies("SIGTERM", [] { ::raise(SIGTERM); });
            dies("SIGKILL", [] { ::raise(SIGKILL); });
            dies("abort", [] { std::abort(); });
            dies("_exit", [] { ::_exit(0); });
            dies("quick_exit", [] { std::quick_exit(0); });
            dies("exec of itself", [] { startSuccessor(); });
            row("qFatal", lines, [lines] {
                startLogging();
                raiseAll(0, lines - 1);
                qFatal("t0 %d.|", lines - 1);
            });
        }
        for (int bytes = 0; bytes<700; bytes += effort()> 1 ? 1 : 41) {
            row(qPrintable("killed after %1 bytes of a write"_q.arg(bytes)), 13, [bytes] {
                startLogging();
                raiseOn(Disk::Sound, 0, 0, 3);
                raiseOn(Disk::Deadly, bytes, 3, 13);
            });
        }
        for (const int bytes : {0, 20, 10000}) {
            row(qPrintable("killed after %1 bytes of a backlog"_q.arg(bytes)), 10, [bytes] {
                startLogging();
                raiseOn(Disk::Sound, 0, 0, 3);
                raiseOn(Disk::Full, 20, 3, 6);
                raiseOn(Disk::Deadly, bytes, 6, 10);
            });
        }
        row("cut off in the write of a backlog", 40, [] {
            startLogging();
            raiseOn(Disk::Full, 0, 0, 6);
            raiseOn(Disk::Stalled, 10000, 6, 30);
            QtDebugLogger::getInstance()->stopThread();
            raiseOn(Disk::Sound, 0, 30, 40);
        });
        row("killed after a line that is not kept", 4, [] {
            startLogging();
            raiseOn(Disk::Sound, 0, 0, 3);
            QtDebugLogger::getInstance()->stopThread();
            raise(0, 3, 20000);
            raiseOn(Disk::Deadly, 30000, 4, 4);
        });
        for (const bool isKilled : {false, true}) {
            row(isKilled ? "cut off in a write, then killed" : "cut off in a write", isKilled ? 30 : 40, [isKilled] {
                startLogging();
                raiseOn(Disk::Sound, 0, 0, 3);
                raiseOn(Disk::Stalled, 200, 3, 30);
                QtDebugLogger::getInstance()->stopThread();
                isKilled ? ::_exit(0) : raiseOn(Disk::Sound, 0, 30, 40);
            });
            row(isKilled ? "disk full, killed" : "disk full, exits", 1500, [isKilled] {
                startLogging();
                raiseOn(Disk::Sound, 0, 0, 10);
                raiseOn(Disk::Full, 20, 10, 20);
                raiseOnWriterThread(20);
                raiseOn(Disk::Sound, 0, 21, 40);
                raiseOn(Disk::Full, 20, 40, 1500); // More than a backlog holds.
                isKilled ? ::_exit(0) : std::exit(0);
            });
        }
        const auto fills = [row](const char *name, int lines, int bytes, bool isComplete, bool isSeen) {
            const auto host = [lines, bytes, isSeen] {
                QtDebugLogger *const logger = startLogging(bytes);
                if (isSeen)
                    QObject::connect(logger, &QtDebugLogger::handleIOSignal, [] {});
                logger->stopThread();
                raiseAll(0, lines);
                ::raise(SIGKILL);
            };
            row(name, lines, host, isComplete);
        };
        fills("more than fits", 5000, 512 * 1024, false, false);
        fills("more than the queue holds", 262144 + 500, 512 * 1024, false, false);
        fills("the least size", 100, std::numeric_limits<int>::min(), true, false);
        fills("seen by a host", 50, 0, true, true);
    }
    void survivesTheProcess()
    {
        QFETCH(Action, host);
        QFETCH(int, lines);
        QFETCH(bool, isComplete);
        for (int attempt = 0; attempt < effort(); ++attempt) {
            init();
            QVERIFY(run(host) != 8);
            const QByteArray text = recovered();
            const int lost = int(tally().lost);
            QCOMPARE(text, rangeTo(lines - lost) + (lost > 0 ? ", lost " + QByteArray::number(lost) : QByteArray()));
            QCOMPARE(lost == 0, isComplete);
        }
    }

    void isKilledUnderLoad()
    {
        using Raised = std::array<std::atomic<int>, 4>;
        auto &raised = *static_cast<Raised *>(
            ::mmap(nullptr, sizeof(Raised), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        const auto log = [&raised](int source, unsigned pauseUs) {
            std::minstd_rand random(std::random_device{}());
            for (int number = 0;; ++number) {
                raise(source, number, int(random() % 3000));
                raised.at(size_t(source)).store(number + 1);
                if (pauseUs > 0)
                    ::usleep(pauseUs);
            }
        };
        qint64 lines = 0;
        for (int attempt = 0; attempt < 6 * effort(); ++attempt) {
            init();
            for (std::atomic<int> &one : raised)
                one.store(0);
            const auto host = [log, pauseUs = attempt % 2 == 0 ? 0U : 200U] { // Flat out, most don't fit.
                startLogging();
                for (int source = 1; source < 4; ++source)
                    std::thread(log, source, pauseUs).detach();
                log(0, pauseUs);
            };
            const unsigned patience = lines > 0 ? 1 : unsigned(attempt) + 1; // An emulator starts slowly.
            run(host, 2000 + std::random_device()() % (80000 * patience));
            if (attempt % 3 == 2)
                run(succeed, 1000 + std::random_device()() % 20000);
            const QByteArray text = recovered();
            QVERIFY2(!text.contains("broken") && !text.contains("ended"), text.constData());
            const Tally found = tally();
            qint64 missing = 0;
            for (int source = 0; source < 4; ++source) {
                const QList<int> numbers = found.numbers[source];
                QVERIFY2(std::adjacent_find(numbers.cbegin(), numbers.cend(), std::greater_equal<>()) == numbers.cend(),
                         "doubled, or out of order");
                const int sure = raised.at(size_t(source)).load();
                missing += sure - std::count_if(numbers.cbegin(), numbers.cend(), [sure](int n) { return n < sure; });
                lines += numbers.size();
            }
            const bool isTold = missing <= found.lost && found.lost <= missing + 4; // One more of each thread.
            QVERIFY2(isTold, qPrintable("%1 missing, %2 told"_q.arg(missing).arg(found.lost)));
        }
        QVERIFY(lines > 0);
    }

    void findsItsPlace_data()
    {
        QTest::addColumn<Action>("change");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const char *name, const QByteArray &expected, const Action &change) {
            QTest::newRow(name) << change << expected;
        };
        const auto file = [] { return logDirectory() + logNames().constLast(); };
        row("as it was", "0-9 | 10-22", [] {});
        row("file removed", "3-22", [file] { QFile::remove(file()); });
        row("folder removed", "3-22", [] { removeLogDirectory(); });
        row("file full", "0-2 | 3-22", [file] { QFile::resize(file(), kFileSizeLimit); });
    }
    void findsItsPlace()
    {
        QFETCH(Action, change);
        QFETCH(QByteArray, expected);
        run([] {
            QtDebugLogger *const logger = startLogging();
            raiseOn(Disk::Sound, 0, 0, 3);
            logger->stopThread();
            raiseAll(3, 10);
            logger->clearData();
            logger->setLogCategoryEnabled(true, 1);
            raiseAll(10, 20);
            ::raise(SIGKILL);
        });
        change();
        QTest::qSleep(1100); // Files of another second.
        QCOMPARE(run([] {
                     startLogging();
                     raiseOn(Disk::Sound, 0, 20, 23);
                 }),
                 0);
        const bool showsFiles = expected.contains('|'); // Others may begin at any second.
        QCOMPARE(tally(showsFiles).text, expected);
        QCOMPARE(recovered(showsFiles), expected); // An end leaves nothing behind.
    }

    // Structure: the head of the file and of its chunks, and the records at their ends.
    void believesNothing()
    {
        run([] {
            startLogging(1);
            raiseOn(Disk::Sound, 0, 0, 3);
            raiseOn(Disk::Deadly, 200, 3, 200);
        });
        const QByteArray kept = fileContents(keptPath());
        const QByteArray log = writtenLogs();
        const QString logPath = logDirectory() + logNames().constFirst();
        const QString outside = logDirectory() + "../outside.log"_q;
        QCOMPARE(kept.size(), 8192 + 2 * 32768);
        std::minstd_rand random(std::random_device{}());
        const quint32 values[] = {0, 1, 2, 65537, 0x7fffffff, 0x80000000, 0xffffffff};
        const int places[] = {0, 4096, 8192, 8192 + 32768 - 600, 8192 + 32768, 8192 + 2 * 32768 - 600};
        for (int attempt = 0; attempt < 20 * effort(); ++attempt) {
            init();
            QByteArray damaged = kept;
            for (unsigned change = 0; change < 1 + unsigned(random() % 10); ++change) {
                const int place = (places[random() % std::size(places)] + int(random() % 600)) & ~3;
                const quint32 value = random() % 8 == 0 ? quint32(random()) : values[random() % std::size(values)];
                std::copy_n(reinterpret_cast<const char *>(&value), random() % 2 == 0 ? 4 : 1, damaged.begin() + place);
            }
            if (attempt % 10 == 9)
                damaged.truncate(int(random() % unsigned(kept.size())));
            if (attempt == 0) // A name that leads elsewhere.
                damaged = QByteArray(kept).replace(kept.indexOf("log-20"), 15, QByteArray("../outside.log", 15));
            if (attempt == 1 || attempt == 2)
                damaged = kept;
            const bool isLinked = attempt == 2;
            const QByteArray outsideBytes = isLinked ? log : QByteArray(1000, '\0');
            const QByteArray appended = attempt == 1 ? "behind a torn line, by another process\n" : "";
            QVERIFY(writeFile(keptPath(), damaged));
            QVERIFY(makeFile(logPath));
            QVERIFY(writeFile(logPath, log + appended));
            QVERIFY(writeFile(outside, outsideBytes));
            QVERIFY(!isLinked || (QFile::remove(logPath) && QFile::link(outside, logPath)));
            if (isLinked)
                QTest::qSleep(1100); // Else a new file would have the name of the link.
            const int end = run(succeed);
            QVERIFY2(end == 0 || end == 9, qPrintable(QString::number(end)));
            QCOMPARE(fileContents(outside), outsideBytes);
            QCOMPARE(QDir(logDirectory() + ".."_q).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 2);
            QVERIFY(fileContents(logPath).startsWith(log.left(log.indexOf("t0 2."))));
            QVERIFY(fileContents(logPath).contains(appended));
        }
    }

    void refusesWhatIsNotSafelyOurs_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<Action>("prepare"); // Finds an empty file.
        QTest::addColumn<bool>("isTaken");
        static const QByteArray file = keptPath().toUtf8();
        static const QByteArray other = file + ".other";
        const auto row = [](const char *name, const Action &prepare, bool isTaken = false) {
            QTest::newRow(name) << keptPath() << prepare << isTaken;
        };
        row("empty", Action([] {}), true);
        row("all zeros", Action([] { QFile::resize(keptPath(), 100000); }), true);
        row("somebody's", [] { writeFile(keptPath(), "notes"); });
        row("wider mode", [] { ::chmod(file.constData(), 0640); });
        row("foreign owner", [] { ::chown(file.constData(), 1, 1) == 0 || ::chmod(file.constData(), 0666); });
        row("hard link", [] { return ::link(file.constData(), other.constData()); });
        row("symbolic link", [] {
            ::rename(file.constData(), other.constData());
            return ::symlink(other.constData(), file.constData());
        });
        row("FIFO", [] { ::remove(file.constData()) == 0 && ::mkfifo(file.constData(), 0600); });
        row("folder", [] { ::remove(file.constData()) == 0 && ::mkdir(file.constData(), 0700); });
        row("twice", [] { startLogging(); });
        row("in a forked child", [] {
            startLogging();
            int end = 0;
            if (::fork() != 0)
                std::_Exit(::wait(&end) > 0 ? WEXITSTATUS(end) : 1);
        });
        row("after output was on", [] {
            QtDebugLogger::getInstance()->enableOutputFile();
            QtDebugLogger::getInstance()->stopThread();
        });
        const QString longName(300, QLatin1Char('x'));
        for (const QString &path : {logDirectory() + "kept"_q, "/dev/shm/-/-"_q, "/dev/shm/"_q + longName, QString()})
            QTest::addRow("the path %s", qPrintable(path.left(30))) << path << Action([] {}) << false;
    }
    void refusesWhatIsNotSafelyOurs()
    {
        QFETCH(QString, path);
        QFETCH(Action, prepare);
        QFETCH(bool, isTaken);
        const QByteArray other = keptPath().toUtf8() + ".other";
        QVERIFY(writeFile(keptPath(), {}));
        const int end = run([prepare, file = path.toUtf8()] {
            prepare();
            struct stat before = {};
            struct stat after = {};
            ::lstat(file.constData(), &before);
            const bool isKept = QtDebugLogger::getInstance()->keepWaitingLines(QString::fromUtf8(file));
            ::lstat(file.constData(), &after);
            const bool isSame = std::tie(before.st_ino, before.st_mode, before.st_size)
                == std::tie(after.st_ino, after.st_mode, after.st_size);
            std::_Exit(isKept ? 0 : isSame ? 9 : 8);
        });
        ::remove(other.constData());
        ::remove(keptPath().toUtf8().constData()); // A folder, too.
        QCOMPARE(end, isTaken ? 0 : 9);
    }

    // A child that outlives its parent has neither the lock nor the lines, and keeps what it opens itself.
    void hasOneOwner()
    {
        int ready[2] = {};
        QCOMPARE(::pipe(ready), 0);
        const pid_t owner = ::fork();
        if (owner == 0) {
            startLogging()->stopThread();
            raiseAll(0, 5);
            QFile(keptPath()).open(QIODevice::ReadOnly); // And close. The lock is the open file's, not the process's.
            const int isOpen = run([] {
                const int opened = ::open("/dev/null", O_RDONLY);
                std::_Exit(run([opened] { std::_Exit(::fcntl(opened, F_GETFD) >= 0 ? 1 : 0); }));
            });
            if (::fork() != 0)
                ::pause();
            std::_Exit(::write(ready[1], &isOpen, 1) == 1 && ::sleep(10) == 0 ? 0 : 1);
        }
        char isOpen = 0;
        QCOMPARE(::read(ready[0], &isOpen, 1), ssize_t(1));
        QCOMPARE(int(isOpen), 1);
        QCOMPARE(run(succeed), 9);
        ::kill(owner, SIGKILL);
        ::waitpid(owner, nullptr, 0);
        ::close(ready[0]);
        ::close(ready[1]);
        void *const page = ::mmap(nullptr, 65536, PROT_READ, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ::madvise(page, 65536, MADV_DONTFORK);
        if (run([page] { std::_Exit(::msync(page, 65536, MS_ASYNC) == 0 ? 1 : 0); }) == 1) {
            QTest::qSkip("children inherit what they should not, as under emulation", __FILE__, __LINE__);
            return;
        }
        QCOMPARE(recovered(), rangeTo(5));
    }
};

int main(int argc, char *argv[])
{
    if (argc == 2 && qstrcmp(argv[1], "--successor") == 0) {
        const bool isKept = QtDebugLogger::getInstance()->keepWaitingLines(qEnvironmentVariable("BRINDLECAST_KEPT"));
        QtDebugLogger::getInstance()->enableOutputFile();
        return isKept && QtDebugLogger::getInstance()->flush(60000) ? 0 : 9;
    }
    tst_KeptLines test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_keptlines.moc"
