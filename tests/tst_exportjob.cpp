// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/ExportJob.h>

#include <QElapsedTimer>
#include <QMetaEnum>
#include <QSignalSpy>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/**
 * What happens to the job's system calls: loc'k', 'c'opy, 'w'rite, 'b'ack, 'f'ile and 'd'irectory sync, 'r'ename,
 * 'l'ink, 's'ync.
 */
struct Calls
{
    std::mutex mutex;
    std::map<char, std::pair<int, std::function<void()>>> planned;
    QString made;

    bool fail(char call)
    {
        std::unique_lock<std::mutex> lock(mutex);
        if (made.size() < 64)
            made.append(QLatin1Char(call));
        const auto [error, act] = planned[call];
        lock.unlock();
        if (act)
            act();
        errno = error;
        return error != 0;
    }
    void set(char call, int error, const std::function<void()> &act = {})
    {
        const std::lock_guard<std::mutex> lock(mutex);
        planned[call] = {error, act};
    }
    void reset()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        planned.clear();
        made.clear();
    }
};

Calls &calls()
{
    static Calls all;
    return all;
}

} // namespace

// Takes the place of a function of the C library: fails as planned, or calls it by the name it has there.
#define REPLACE(name, realName, letter, parameters, ...)                                            \
    Q_DECL_EXPORT auto name parameters->decltype(::name(__VA_ARGS__))                               \
    {                                                                                               \
        static const auto call = reinterpret_cast<decltype(&::name)>(::dlsym(RTLD_NEXT, realName)); \
        return calls().fail(letter) ? -1 : call(__VA_ARGS__);                                       \
    }

static char fileOrDirectory(int file)
{
    struct stat status = {};
    ::fstat(file, &status);
    return S_ISDIR(status.st_mode) ? 'd' : 'f';
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" {
REPLACE(flock, "flock", 'k', (int file, int operation) noexcept, file, operation)
REPLACE(sendfile, "sendfile64", 'c', (int to, int from, off_t *at, size_t size) noexcept, to, from, at, size)
REPLACE(pwrite, "pwrite64", 'w', (int file, const void *bytes, size_t size, off_t at), file, bytes, size, at)
REPLACE(sync_file_range, "sync_file_range", 'b', (int file, off64_t at, off64_t size, unsigned flags), file, at, size,
        flags)
REPLACE(fsync, "fsync", fileOrDirectory(file), (int file), file)
REPLACE(syncfs, "syncfs", 's', (int file) noexcept, file)
REPLACE(renameat2, "renameat2", 'r', (int from, const char *name, int to, const char *newName, unsigned flags) noexcept,
        from, name, to, newName, flags)
REPLACE(linkat, "linkat", 'l', (int from, const char *name, int to, const char *newName, int flags) noexcept, from,
        name, to, newName, flags)
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

using Change = std::function<void(const QByteArray &stick)>;

bool canMount = false;

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray someBytes(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
}

/** All that is in a folder: name, type and permissions, and the content or what a link says. */
QStringList inventory(const QString &folder)
{
    QStringList all;
    const auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    const QStringList names = QDir(folder).entryList(everything, QDir::Name);
    for (const QString &name : names) {
        const QString path = folder + QLatin1Char('/') + name;
        struct stat status = {};
        ::lstat(QFile::encodeName(path).constData(), &status);
        const QString content = S_ISREG(status.st_mode) ? QString::fromLatin1(fileContents(path))
            : S_ISLNK(status.st_mode)                   ? QFile::symLinkTarget(path)
            : S_ISDIR(status.st_mode)                   ? QDir(path).entryList(everything).join(QLatin1Char(' '))
                                                        : QString();
        all.append("%1 %2 %3"_q.arg(name, QString::number(status.st_mode, 8), content));
    }
    return all;
}

QString nameOf(ExportJob::Outcome outcome)
{
    return QLatin1String(QMetaEnum::fromType<ExportJob::Outcome>().valueToKey(int(outcome)));
}

QString told(const ExportJob &job)
{
    QStringList all;
    const QVector<ExportJob::FileResult> files = job.results();
    for (const ExportJob::FileResult &file : files) {
        const bool isCopied = file.outcome == ExportJob::Outcome::Copied;
        const bool isExplained = isCopied == file.reason.isEmpty() && isCopied != file.savedAs.isEmpty();
        const QString end = isCopied ? ">"_q + file.savedAs : ":"_q + nameOf(file.outcome);
        all.append(file.name + end + (isExplained ? QString() : "?"_q));
    }
    return all.join(" "_q) + " | "_q + nameOf(job.outcome()) + (job.safeToRemove() ? ", safe"_q : QString());
}

bool isFinished(const ExportJob &job)
{
    return QTest::qWaitFor([&job] { return job.state() == ExportJob::State::Finished; }, 30000);
}

} // namespace

Q_DECLARE_METATYPE(Change)

class tst_ExportJob : public QObject
{
    Q_OBJECT

    QString m_logs;
    QString m_stick;
    QScopedPointer<QTemporaryDir> m_folder;

    QString log(const QString &name) const { return m_logs + name; }
    QString copy(const QString &name) const { return m_stick + name; }
    QString part() const { return QDir(m_stick).entryList({"*.part"_q}, QDir::Files).value(0); }

    int modeOfCopy(const QString &name) const
    {
        struct stat status = {};
        return ::lstat(QFile::encodeName(copy(name)).constData(), &status) == 0 ? int(status.st_mode) : -1;
    }

    bool occupy(const QString &at, const QString &what) const
    {
        const QByteArray name = QFile::encodeName(at);
        if (what.startsWith("link"_q))
            return QFile::link(QDir(m_folder->path()).absoluteFilePath(what.section(" "_q, -1)), at);
        if (what == "folder"_q)
            return QDir().mkdir(at);
        if (what == "pipe"_q)
            return ::mkfifo(name.constData(), 0666) == 0;
        return write(at, "the user's") && (what == "file"_q || ::chmod(name.constData(), 0400) == 0);
    }

    /** Exports logs by name; what the job told. */
    QString exported(const QStringList &names)
    {
        QStringList paths;
        for (const QString &name : names)
            paths.append(name.startsWith("/"_q) ? name : log(name));
        ExportJob job;
        return job.start(paths, m_stick) && isFinished(job) ? told(job) : "no end"_q;
    }

private Q_SLOTS:
    void init()
    {
        calls().reset();
        m_folder.reset(new QTemporaryDir);
        m_logs = m_folder->filePath("logs/"_q);
        m_stick = m_folder->filePath("stick/"_q);
        QVERIFY(QDir().mkpath(m_logs) && QDir().mkpath(m_stick));
    }

    void cleanup()
    {
        calls().reset();
        ::umount2(QFile::encodeName(m_stick).constData(), MNT_DETACH);
        m_folder.reset();
    }

    // The kernel's ways to copy and to rename without replacing are not to be had everywhere.
    void copies_data()
    {
        QTest::addColumn<QString>("missing");
        QTest::addRow("all there") << QString();
        QTest::addRow("no sendfile") << "c"_q;
        QTest::addRow("no rename without replacing") << "r"_q;
        QTest::addRow("nor links") << "rl"_q;
    }
    void copies()
    {
        QFETCH(QString, missing);
        for (const QChar call : missing)
            calls().set(call.toLatin1(), EINVAL);
        const QString longName(251, QLatin1Char('n'));
        const QString wideName(83, QChar(u'日')); // which takes 249 bytes
        struct Log
        {
            QString name;
            QByteArray bytes;
            QString savedAs;
        };
        const Log logs[]
            = {{"empty.log"_q, "", "empty-2.log"_q},
               {"a b'$.log"_q, "x", "a b'$-2.log"_q},
               {"big.log"_q, someBytes(3 * 1024 * 1024 + 17), "big-2.log"_q},
               {".log"_q, "hidden", "-2.log"_q},
               {"plain"_q, "p", "plain-2"_q},
               {longName + ".log"_q, "l", longName.chopped(2) + "-2.log"_q},
               {"ab"_q + wideName + ".log"_q, "w", "ab"_q + wideName.chopped(1) + "-2.log"_q}}; // no half character
        QStringList paths;
        QStringList ends;
        for (const Log &one : logs) {
            QVERIFY(write(log(one.name), one.bytes) && write(copy(one.name), "taken"));
            paths.append(log(one.name));
            ends.append(one.name + ">"_q + one.savedAs);
        }
        QVERIFY(occupy(log("own.log"_q), "read-only file"_q) && QFile::link(log("own.log"_q), log("link.log"_q)));
        ExportJob job;
        QVERIFY(!job.start({}, m_stick));
        QVERIFY(job.start(paths + QStringList(log("link.log"_q)), m_stick));
        QVERIFY(!job.start(paths, m_stick));
        QVERIFY(isFinished(job));
        QCOMPARE(told(job), ends.join(" "_q) + " link.log>link.log | Copied, safe"_q);
        QCOMPARE(job.copiedCount(), paths.size() + 1);
        for (const Log &one : logs) {
            QCOMPARE(fileContents(copy(one.savedAs)), one.bytes);
            QCOMPARE(fileContents(copy(one.name)), QByteArray("taken"));
        }
        QCOMPARE(modeOfCopy("link.log"_q), S_IFREG | 0600);
        QCOMPARE(fileContents(copy("link.log"_q)), QByteArray("the user's"));
        QCOMPARE(inventory(m_stick).size(), 2 * paths.size() + 1);
        QCOMPARE(job.bytesTotal(), qint64{3 * 1024 * 1024 + 17 + 20});
        QCOMPARE(job.bytesDone(), job.bytesTotal());
        QVERIFY2(job.bytesNeeded() >= job.bytesTotal(), qPrintable(QString::number(job.bytesNeeded())));
        QCOMPARE(job.bytesNeeded() % QStorageInfo(m_stick).blockSize(), 0);
    }

    void syncsInThisOrder()
    {
        QVERIFY(write(log("a.log"_q), "a") && write(log("b.log"_q), "b"));
        QCOMPARE(exported({"a.log"_q, "b.log"_q}), "a.log>a.log b.log>b.log | Copied, safe"_q);
        QCOMPARE(calls().made, "kcfrkcfrds"_q);
    }

    // A stick that was prepared to lead the copies astray.
    void keepsWhatIsThere_data()
    {
        QTest::addColumn<QString>("what");
        for (const char *what : {"link to a file: victim", "link to nothing: none", "link to a folder: logs",
                                 "link to a device: /dev/full", "folder", "pipe", "file", "read-only file"})
            QTest::newRow(what) << QString::fromLatin1(what);
    }
    void keepsWhatIsThere()
    {
        QFETCH(QString, what);
        for (const char missing : {'-', 'r', 'l'}) {
            init();
            calls().set(missing, EINVAL);
            QVERIFY(write(m_folder->filePath("victim"_q), "untouched") && write(log("a.log"_q), "log"));
            // The name that a part had is taken, too, in case it is used again or looks like a leftover.
            QString formerPart;
            calls().set('f', 0, [&] { formerPart = part(); });
            QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
            QVERIFY(!formerPart.isEmpty() && QFile::remove(copy("a.log"_q)));
            calls().set('f', 0);
            for (const char *name : {"a.log", "a.log.part", "a-2.log", "brindlecast-0123456789abcdef.part"})
                QVERIFY(occupy(copy(QLatin1String(name)), what));
            QVERIFY(what.endsWith("file"_q) || occupy(copy(formerPart), what)); // a file there is a leftover
            const QStringList before = inventory(m_stick);
            QCOMPARE(exported({"a.log"_q}), "a.log>a-3.log | Copied, safe"_q);
            QCOMPARE(fileContents(copy("a-3.log"_q)), QByteArray("log"));
            QVERIFY(QFile::remove(copy("a-3.log"_q)));
            QCOMPARE(inventory(m_stick), before);
            QCOMPARE(fileContents(m_folder->filePath("victim"_q)), QByteArray("untouched"));
            QVERIFY(!QFile::exists(m_folder->filePath("none"_q)));
            QCOMPARE(inventory(m_logs).size(), 1);
        }
    }

    // While another program changes everything in the folder as fast as it can.
    void outwitsASwapper()
    {
        const int seconds = qEnvironmentVariableIntValue("BRINDLECAST_SWAPPER_SECONDS");
        const QByteArray bytes = someBytes(200000);
        QVERIFY(write(log("a.log"_q), bytes) && write(log("b.log"_q), "small")
                && write(m_folder->filePath("victim"_q), "untouched"));
        std::atomic_bool isOver{false};
        std::atomic_int torn{0};
        std::thread swapper([&] {
            const QByteArray stick = QFile::encodeName(m_stick);
            for (int turn = 0; !isOver.load(); ++turn) {
                QStringList names = QDir(m_stick).entryList({"*.part"_q}, QDir::Files | QDir::System);
                names.append({"a.log"_q, "a-2.log"_q, "b.log"_q});
                for (const QString &name : names) {
                    const QByteArray at = stick + QFile::encodeName(name);
                    const bool isPart = name.endsWith(".part"_q);
                    if (isPart && turn % 4 != 0)
                        continue;
                    const QString away = m_folder->filePath("away"_q);
                    ::rename(at.constData(), QFile::encodeName(away).constData());
                    const QFileInfo taken(away);
                    const bool isCopy = !isPart && taken.isFile() && !taken.isSymLink();
                    torn += isCopy && QList<qint64>{bytes.size(), 10, 5}.indexOf(taken.size()) < 0 ? 1 : 0;
                    QFile::remove(away);
                    occupy(QFile::decodeName(at), QStringList{"link to victim"_q, "pipe"_q, "file"_q}.at(turn % 3));
                }
            }
        });
        int copied = 0;
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < qMax(seconds * 1000, 500) || (copied == 0 && timer.elapsed() < 30000)) {
            ExportJob job;
            QVERIFY(job.start({log("a.log"_q), log("b.log"_q)}, m_stick) && isFinished(job));
            copied += job.copiedCount();
            QCOMPARE(fileContents(m_folder->filePath("victim"_q)), QByteArray("untouched"));
            QCOMPARE(fileContents(log("a.log"_q)), bytes);
        }
        isOver.store(true);
        swapper.join();
        QVERIFY(copied > 0);
        QCOMPARE(torn.load(), 0);
        qInfo("%d copies in %lld ms", copied, timer.elapsed());
    }

    void noticesAPartThatWasTakenAway()
    {
        QVERIFY(write(log("a.log"_q), "log") && write(m_folder->filePath("victim"_q), "untouched"));
        for (const char call : {'f', 'r'}) { // the last is too late to be seen before the part gets its name
            calls().reset();
            calls().set(call, 0, [this] {
                const QString name = copy(part());
                ::rename(QFile::encodeName(name).constData(), QFile::encodeName(copy("away"_q)).constData());
                QFile::link(m_folder->filePath("victim"_q), name);
            });
            QCOMPARE(exported({"a.log"_q}), "a.log:CopyFailed | CopyFailed, safe"_q);
            QVERIFY(QFile::remove(copy("away"_q)) && inventory(m_stick).size() == 1);
            QVERIFY(removeAny(m_stick) && QDir().mkpath(m_stick));
        }
        QCOMPARE(fileContents(m_folder->filePath("victim"_q)), QByteArray("untouched"));
    }

    void removesLeftoversOnly()
    {
        QVERIFY(write(log("a.log"_q), "log"));
        QString left;
        calls().set('f', 0, [&] { left = copy(part()); });
        QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
        calls().set('f', 0);
        QVERIFY(write(left, "half a lo"));
        const int file = ::open(QFile::encodeName(left).constData(), O_RDONLY | O_CLOEXEC);
        QVERIFY(file >= 0 && ::flock(file, LOCK_EX) == 0);
        QCOMPARE(exported({"a.log"_q}), "a.log>a-2.log | Copied, safe"_q);
        QVERIFY(QFile::exists(left)); // Somebody is still at it.
        ::close(file);
        QString others = left;
        others[left.size() - 6] = left.endsWith("0.part"_q) ? QLatin1Char('1') : QLatin1Char('0');
        QVERIFY(write(others, "the user's"));
        QCOMPARE(exported({"a.log"_q}), "a.log>a-3.log | Copied, safe"_q);
        QVERIFY(!QFile::exists(left));
        QVERIFY(QFile::exists(others));
    }

    // Another export, which looks for leftovers, can lock a part before its maker does, and removes it then.
    void givesUpAPartTakenForALeftover()
    {
        QVERIFY(write(log("a.log"_q), "log"));
        QByteArray taken;
        int other = -1;
        calls().set('k', 0, [&] {
            if (!taken.isEmpty())
                return;
            taken = QFile::encodeName(copy(part()));
            other = ::open(taken.constData(), O_RDONLY | O_CLOEXEC);
            ::flock(other, LOCK_EX | LOCK_NB);
        });
        calls().set('f', 0, [&] { ::unlink(taken.constData()); });
        QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
        ::close(other);
        QCOMPARE(inventory(m_stick).size(), 1);
    }

    void refusesWhatIsNoLog()
    {
        QVERIFY(occupy(log("folder.log"_q), "folder"_q) && occupy(log("pipe.log"_q), "pipe"_q));
        QVERIFY(occupy(log("device.log"_q), "link to /dev/zero"_q) && occupy(log("dangling.log"_q), "link to none"_q));
        QVERIFY(write(log("a.log"_q), "log") && write(log("cut"_q), "another"));
        QCOMPARE(
            exported({"folder.log"_q, "pipe.log"_q, "device.log"_q, "dangling.log"_q, "none.log"_q, "a.log/b"_q,
                      "cut\0"_q, "a.log"_q}),
            "folder.log:NotAFile pipe.log:NotAFile device.log:NotAFile dangling.log:SourceGone none.log:SourceGone "
            "b:SourceGone cut\0:SourceGone a.log>a.log | SourceGone, safe"_q);
        QCOMPARE(QDir(m_stick).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList("a.log"_q));
    }

    void copiesALogAsItWas()
    {
        QVERIFY(write(log("a.log"_q), someBytes(1000000)));
        calls().set('c', 0, [this] { QFile::resize(log("a.log"_q), 1100000); });
        QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
        QCOMPARE(fileContents(copy("a.log"_q)), someBytes(1000000));
        // Another file in its place is copied whole; the progress keeps to the total that was told.
        calls().set('f', 0, [this] {
            write(log("new"_q), someBytes(1200000));
            ::rename(QFile::encodeName(log("new"_q)).constData(), QFile::encodeName(log("a.log"_q)).constData());
            calls().set('f', 0);
        });
        calls().set('c', 0, [] { ::usleep(200000); });
        ExportJob job;
        QVERIFY(write(log("b.log"_q), "b") && job.start({log("b.log"_q), log("a.log"_q)}, m_stick));
        bool isWithinTotal = true;
        connect(&job, &ExportJob::progressChanged, this,
                [&] { isWithinTotal = isWithinTotal && job.bytesDone() <= qMax(job.bytesTotal(), qint64{1}); });
        QVERIFY(isFinished(job) && isWithinTotal);
        QCOMPARE(told(job), "b.log>b.log a.log>a-2.log | Copied, safe"_q);
        QCOMPARE(fileContents(copy("a-2.log"_q)), someBytes(1200000));
        QVERIFY(QFile::remove(copy("a-2.log"_q)) && QFile::remove(copy("b.log"_q)));
        calls().set('c', 0, [this] { QFile::resize(log("a.log"_q), 1000); });
        QCOMPARE(exported({"a.log"_q}), "a.log:CopyFailed | CopyFailed, safe"_q);
        QCOMPARE(inventory(m_stick).size(), 1);
    }

    void worksInAnyHost_data()
    {
        QTest::addColumn<int>("umaskBits");
        QTest::addColumn<int>("mode");
        QTest::addRow("SIGCHLD ignored, umask 000") << 0 << 0644;
        QTest::addRow("SIGCHLD handled, all signals blocked, umask 077") << 077 << 0600;
    }
    void worksInAnyHost()
    {
        QFETCH(int, umaskBits);
        QFETCH(int, mode);
        QVERIFY(write(log("a.log"_q), "log") && write(log("b.log"_q), someBytes(200000)));
        const mode_t formerUmask = ::umask(static_cast<mode_t>(umaskBits));
        const auto formerHandler = std::signal(
            SIGCHLD, umaskBits == 0 ? SIG_IGN : [](int) {});
        const QByteArray formerPath = qgetenv("PATH");
        qunsetenv("PATH");
        sigset_t signals;
        sigset_t formerSignals;
        umaskBits == 0 ? ::sigemptyset(&signals) : ::sigfillset(&signals);
        ::pthread_sigmask(SIG_SETMASK, &signals, &formerSignals);
        rlimit formerLimit = {};
        ::getrlimit(RLIMIT_FSIZE, &formerLimit);
        const rlimit limit = {100000, formerLimit.rlim_max}; // which a signal tells that ends a process
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const QString end = exported({"a.log"_q, "b.log"_q});
        ::setrlimit(RLIMIT_FSIZE, &formerLimit);
        ::pthread_sigmask(SIG_SETMASK, &formerSignals, nullptr);
        qputenv("PATH", formerPath);
        std::signal(SIGCHLD, formerHandler);
        ::umask(formerUmask);
        QCOMPARE(end, "a.log>a.log b.log:FileTooLarge | FileTooLarge, safe"_q);
        QCOMPARE(modeOfCopy("a.log"_q), S_IFREG | mode);
    }

    // The destination is there all the same.
    void tellsOfAProcessWithoutFilesLeft()
    {
        QVERIFY(write(log("a.log"_q), "a"));
        rlimit former = {};
        ::getrlimit(RLIMIT_NOFILE, &former);
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        const rlimit none = {static_cast<rlim_t>(next), former.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &none), 0);
        const QString end = exported({"a.log"_q});
        ::setrlimit(RLIMIT_NOFILE, &former);
        QCOMPARE(end, "a.log:CopyFailed | CopyFailed"_q);
    }

    void tellsWhatFailed_data()
    {
        QTest::addColumn<QByteArray>("disk"); // the options of one of its own
        QTest::addColumn<QString>("calls"); // that fail, or before which the disk changes
        QTest::addColumn<int>("error");
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const char *calls, int error, const char *expected, const char *disk = "",
                            const Change &change = {}) {
            QTest::newRow(name) << QByteArray(disk) << QString::fromLatin1(calls) << error << change
                                << QString::fromLatin1(expected);
        };
        row("file not synced", "f", EIO, "a.log:CopyFailed b.log:CopyFailed | CopyFailed, safe");
        row("block not written", "b", EIO, "a.log:CopyFailed b.log>b.log | CopyFailed, safe");
        row("folder not synced", "d", EIO, "a.log>a.log b.log>b.log | NotSynced");
        row("folder can't be synced", "d", EINVAL, "a.log>a.log b.log>b.log | Copied, safe");
        row("disk not synced", "s", EIO, "a.log>a.log b.log>b.log | NotSynced");
        row("no such name", "r", ENAMETOOLONG, "a.log:CopyFailed b.log:CopyFailed | CopyFailed, safe");
        row("file too large", "cw", EFBIG, "a.log:FileTooLarge b.log:FileTooLarge | FileTooLarge, safe");
        const char *const full = "a.log:DestinationFull b.log:DestinationFull | DestinationFull, safe";
        row("full", "cw", ENOSPC, full);
        row("full when synced", "f", ENOSPC, full);
        row("no files left", "", 0, full, "size=400k,nr_inodes=1");
        row("filled meanwhile", "c", 0, full, "size=400k", [](const QByteArray &stick) {
            QFile filler(QFile::decodeName(stick) + "filler"_q);
            filler.open(QIODevice::Append | QIODevice::Unbuffered);
            while (filler.write(QByteArray(4096, 'f')) > 0) { }
        });
        row("fits to the block", "", 0, "a.log>a.log b.log>b.log | Copied, safe", "size=300k");
        row("a block too small", "", 0, "a.log:DestinationFull b.log:DestinationFull | DestinationFull", "size=296k");
        const char *const readOnly = "a.log:DestinationReadOnly b.log:DestinationReadOnly | DestinationReadOnly";
        const Change protect = [](const QByteArray &stick) {
            ::mount(nullptr, stick.constData(), nullptr, MS_REMOUNT | MS_RDONLY, "size=400k");
        };
        row("protected", "cw", EROFS,
            "a.log:DestinationReadOnly b.log:DestinationReadOnly | DestinationReadOnly, safe");
        row("protected before", "", 0, readOnly, "size=400k", protect);
        row("protected at the end", "d", 0, "a.log>a.log b.log>b.log | NotSynced", "size=400k", protect);
        const Change pull = [](const QByteArray &stick) { ::umount2(stick.constData(), MNT_DETACH); };
        row("pulled while copying", "c", 0, "a.log:DestinationGone b.log:DestinationGone | DestinationGone",
            "size=400k", pull);
        row("pulled while syncing", "s", 0, "a.log>a.log b.log>b.log | DestinationGone", "size=400k", pull);
    }
    void tellsWhatFailed()
    {
        QFETCH(QByteArray, disk);
        QFETCH(QString, calls);
        QFETCH(int, error);
        QFETCH(Change, change);
        QFETCH(QString, expected);
        const QByteArray stick = QFile::encodeName(m_stick);
        if (!disk.isEmpty() && (!canMount || ::mount("tmpfs", stick.constData(), "tmpfs", 0, disk.constData()) != 0)) {
            QTest::qSkip("mounting a disk in a private mount namespace is not allowed here", __FILE__, __LINE__);
            return;
        }
        QVERIFY(write(log("a.log"_q), someBytes(disk.isEmpty() ? 2000000 : 40 * 4096)));
        QVERIFY(write(log("b.log"_q), someBytes(disk.isEmpty() ? 1 : 35 * 4096)));
        if (change && calls.isEmpty())
            change(stick);
        for (const QChar call : calls)
            ::calls().set(call.toLatin1(), error, change ? [=] { change(stick); } : std::function<void()>());
        QCOMPARE(exported({"a.log"_q, "b.log"_q}), expected);
        QString leftThere = inventory(m_stick).join("|"_q);
        QVERIFY2(!leftThere.contains(".part"_q), qPrintable(leftThere));
        if (!disk.isEmpty()) {
            ::umount2(stick.constData(), MNT_DETACH);
            QCOMPARE(inventory(m_stick), QStringList()); // Nothing went to the mount point.
        }
    }

    void endsWithinABlock_data()
    {
        QTest::addColumn<bool>("isDestroyed");
        QTest::addRow("cancelled") << false;
        QTest::addRow("destroyed") << true;
    }
    void endsWithinABlock()
    {
        QFETCH(bool, isDestroyed);
        QVERIFY(write(log("a.log"_q), "a") && write(log("b.log"_q), someBytes(20000000)));
        calls().set('c', EINVAL);
        calls().set('w', 0, [] { ::usleep(100000); }); // 20 s for the large one
        auto job = std::make_unique<ExportJob>();
        QVERIFY(job->start({log("a.log"_q), log("b.log"_q), log("a.log"_q)}, m_stick));
        const QSignalSpy progress(job.get(), &ExportJob::progressChanged);
        QTRY_VERIFY(job->bytesDone() > 300000);
        QCOMPARE(job->filesDone(), 1);
        QCOMPARE(job->currentFile(), "b.log"_q);
        QCOMPARE(job->bytesTotal(), qint64{20000002});
        QVERIFY(progress.size() >= 2 && progress.size() <= 20);
        QElapsedTimer timer;
        timer.start();
        if (isDestroyed) {
            job.reset();
            QVERIFY(!calls().made.contains(QLatin1Char('s')));
        } else {
            job->cancel();
            QVERIFY(job->isCancelling() && isFinished(*job));
            QCOMPARE(told(*job), "a.log>a.log b.log:Cancelled a.log:Cancelled | Cancelled, safe"_q);
        }
        QVERIFY2(timer.elapsed() < 700, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(inventory(m_stick), QStringList("a.log 100644 a"_q));
    }

    void letsGoOfAStalledStick()
    {
        QVERIFY(write(log("a.log"_q), "a"));
        std::mutex stall;
        stall.lock();
        std::atomic_bool isHeldUp{false};
        calls().set('f', 0, [&] { isHeldUp.store(true), stall.lock(), stall.unlock(); });
        auto job = std::make_unique<ExportJob>();
        QVERIFY(job->start({log("a.log"_q)}, m_stick));
        QTRY_VERIFY(isHeldUp.load());
        QElapsedTimer timer;
        timer.start();
        job.reset();
        QVERIFY(timer.elapsed() < 2000 && inventory(m_stick).size() == 1);
        stall.unlock();
        QTRY_COMPARE(inventory(m_stick), QStringList()); // The thread has cleaned up after itself.
    }

    void mayBeDeletedInASlot()
    {
        QVERIFY(write(log("a.log"_q), "a"));
        for (const auto state : {ExportJob::State::Preparing, ExportJob::State::Finished}) {
            QPointer<ExportJob> job(new ExportJob);
            connect(job, &ExportJob::stateChanged, this, [&job, state] {
                if (job->state() == state)
                    delete job;
            });
            QVERIFY(job->start({log("a.log"_q)}, m_stick));
            QTRY_VERIFY(!job);
        }
    }

    void sharesAFolder()
    {
        QStringList paths;
        for (int i = 0; i < 50; ++i) {
            paths.append(log("%1.log"_q.arg(i)));
            QVERIFY(write(paths.constLast(), QByteArray::number(i)));
        }
        ExportJob jobs[3];
        for (ExportJob &job : jobs)
            QVERIFY(job.start(paths, m_stick));
        for (const ExportJob &job : jobs)
            QVERIFY(isFinished(job) && job.copiedCount() == 50 && job.safeToRemove());
        QCOMPARE(inventory(m_stick).size(), 150);
    }
};

int main(int argc, char *argv[])
{
    // Before any thread exists: only threads started later share the mounts.
    canMount = ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    QCoreApplication application(argc, argv);
    tst_ExportJob test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_exportjob.moc"
