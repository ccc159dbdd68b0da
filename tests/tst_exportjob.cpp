// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/ExportJob.h>

#include <QElapsedTimer>
#include <QMetaEnum>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>

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
 * What happens to the job's system calls: 'c'opy, 'w'rite, 'b'ack, 'f'ile and 'd'irectory sync, 'r'ename, 'l'ink,
 * 's'ync.
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

/** A disk may write less than it was asked to. */
static constexpr std::size_t kLongestWrite = 100000;

static char fileOrDirectory(int file)
{
    struct stat status = {};
    ::fstat(file, &status);
    return S_ISDIR(status.st_mode) ? 'd' : 'f';
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" {
REPLACE(sendfile, "sendfile64", 'c', (int to, int from, off_t *at, size_t size) noexcept, to, from, at, size)
REPLACE(pwrite, "pwrite64", 'w', (int file, const void *bytes, size_t size, off_t at), file, bytes,
        qMin(size, kLongestWrite), at)
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

/** All that is in a folder: name, type and permissions, and the content of a file or what a link says. */
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

class tst_ExportJob : public QObject
{
    Q_OBJECT

    QString m_logs;
    QString m_stick;
    QScopedPointer<QTemporaryDir> m_folder;

    QString log(const QString &name) const { return m_logs + name; }
    QString copy(const QString &name) const { return m_stick + name; }
    QString part() const { return QDir(m_stick).entryList({"*.part"_q}, QDir::Files).value(0); }

    bool occupy(const QString &at, const QString &what) const
    {
        const QByteArray name = QFile::encodeName(at);
        if (what.startsWith("link"_q))
            return QFile::link(QDir(m_folder->path()).absoluteFilePath(what.section(" "_q, -1)), at);
        if (what == "folder"_q)
            return QDir().mkdir(at);
        if (what == "pipe"_q)
            return ::mkfifo(name.constData(), 0666) == 0;
        return write(at, "the user's") && (what == "file"_q || ::chmod(name.constData(), 0440) == 0);
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
    void copiesBesideWhatIsThere_data()
    {
        QTest::addColumn<QString>("missing");
        QTest::addRow("all there") << QString();
        QTest::addRow("no sendfile") << "c"_q;
        QTest::addRow("no rename without replacing") << "r"_q;
        QTest::addRow("nor links") << "rl"_q;
    }
    void copiesBesideWhatIsThere()
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
            QString taken; // what has its name already
        };
        const Log logs[]
            = {{"empty.log"_q, "", "empty-3.log"_q, "file"_q},
               {"empty-2.log"_q, "2", "empty-2-2.log"_q, "link to none"_q},
               {"a b'$.log"_q, "x", "a b'$-2.log"_q, "pipe"_q},
               {"big.log"_q, someBytes(3 * 1024 * 1024 + 17), "big-2.log"_q, "link to victim"_q},
               {".log"_q, "hidden", "-2.log"_q, "folder"_q},
               {"plain"_q, "p", "plain-2"_q, "read-only file"_q},
               {longName + ".log"_q, "l", longName.chopped(2) + "-2.log"_q, "link to /dev/full"_q},
               {"ab"_q + wideName + ".log"_q, "w", "ab"_q + wideName.chopped(1) + "-2.log"_q, // no half character
                "link to logs"_q}};
        QVERIFY(write(m_folder->filePath("victim"_q), "untouched"));
        QStringList paths;
        QStringList ends;
        for (const Log &one : logs) {
            QVERIFY(write(log(one.name), one.bytes) && occupy(copy(one.name), one.taken));
            paths.append(log(one.name));
            ends.append(one.name + ">"_q + one.savedAs);
        }
        const QStringList before = inventory(m_stick);
        QVERIFY(occupy(log("own.log"_q), "read-only file"_q) && QFile::link(log("own.log"_q), log("link.log"_q)));
        ExportJob job;
        QVERIFY(!job.start({}, m_stick));
        QVERIFY(job.start(paths + QStringList(log("link.log"_q)), m_stick));
        QVERIFY(!job.start(paths, m_stick));
        QVERIFY(isFinished(job));
        QCOMPARE(told(job), ends.join(" "_q) + " link.log>link.log | Copied, safe"_q);
        QCOMPARE(job.copiedCount(), paths.size() + 1);
        QCOMPARE(inventory(m_stick).filter("link.log"_q), QStringList("link.log 100640 the user's"_q));
        QVERIFY(QFile::remove(copy("link.log"_q)));
        for (const Log &one : logs) {
            QCOMPARE(fileContents(copy(one.savedAs)), one.bytes);
            QVERIFY(QFile::remove(copy(one.savedAs)));
        }
        QCOMPARE(inventory(m_stick), before);
        QCOMPARE(fileContents(m_folder->filePath("victim"_q)), QByteArray("untouched"));
        QVERIFY(!QFile::exists(m_folder->filePath("none"_q)));
        QCOMPARE(job.bytesTotal(), qint64{3 * 1024 * 1024 + 17 + 21});
        QCOMPARE(job.bytesDone(), job.bytesTotal());
        QVERIFY2(job.bytesNeeded() >= job.bytesTotal(), qPrintable(QString::number(job.bytesNeeded())));
    }

    void syncsInThisOrder()
    {
        QVERIFY(write(log("a.log"_q), "a") && write(log("b.log"_q), "b"));
        QCOMPARE(exported({"a.log"_q, "b.log"_q}), "a.log>a.log b.log>b.log | Copied, safe"_q);
        QCOMPARE(calls().made, "cfrcfrds"_q);
    }

    // Another program swaps the part at the last moment, when it is about to get its name.
    void noticesAPartThatWasTakenAway()
    {
        QVERIFY(write(log("a.log"_q), "log") && write(m_folder->filePath("victim"_q), "untouched"));
        calls().set('r', 0, [this] {
            const QString name = copy(part());
            ::rename(QFile::encodeName(name).constData(), QFile::encodeName(copy("away"_q)).constData());
            QFile::link(m_folder->filePath("victim"_q), name);
        });
        QCOMPARE(exported({"a.log"_q}), "a.log:CopyFailed | CopyFailed, safe"_q);
        QCOMPARE(fileContents(m_folder->filePath("victim"_q)), QByteArray("untouched"));
    }

    void letsGoOfAStalledStick()
    {
        QVERIFY(write(log("a.log"_q), "log"));
        std::mutex stall;
        stall.lock();
        std::atomic_bool isHeldUp{false};
        calls().set('f', 0, [&] { isHeldUp.store(true), stall.lock(), stall.unlock(); });
        auto job = std::make_unique<ExportJob>();
        QVERIFY(job->start({log("a.log"_q)}, m_stick));
        QTRY_VERIFY(isHeldUp.load());
        calls().set('f', 0);
        const QString left = copy(part());
        QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
        QVERIFY(QFile::exists(left)); // Somebody is still at it.
        QElapsedTimer timer;
        timer.start();
        job.reset();
        QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
        stall.unlock();
        QTRY_COMPARE(inventory(m_stick), QStringList("a.log 100644 log"_q)); // The thread cleans up after itself.

        // What a killed process leaves behind, and a user's file whose name only looks like it.
        QString others = left;
        others[left.size() - 6] = left.endsWith("0.part"_q) ? QLatin1Char('1') : QLatin1Char('0');
        QVERIFY(write(left, "half a lo") && write(others, "the user's"));
        QCOMPARE(exported({"a.log"_q}), "a.log>a-2.log | Copied, safe"_q);
        QVERIFY(!QFile::exists(left));
        QVERIFY(QFile::exists(others));
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
        QVERIFY(write(log("a.log"_q), someBytes(1000000)) && write(log("b.log"_q), "b"));
        calls().set('f', 0, [this] { QFile::resize(log("a.log"_q), 1100000); });
        QCOMPARE(exported({"b.log"_q, "a.log"_q}), "b.log>b.log a.log>a.log | Copied, safe"_q);
        QCOMPARE(fileContents(copy("a.log"_q)), someBytes(1000000));
        calls().set('c', 0, [this] { QFile::resize(log("a.log"_q), 1000); });
        QCOMPARE(exported({"a.log"_q}), "a.log:CopyFailed | CopyFailed, safe"_q);
        QCOMPARE(inventory(m_stick).size(), 2);
        // Another file in its place is copied whole.
        calls().set('c', 0);
        calls().set('f', 0, [this] {
            write(log("new"_q), someBytes(1200000));
            ::rename(QFile::encodeName(log("new"_q)).constData(), QFile::encodeName(log("a.log"_q)).constData());
        });
        QCOMPARE(exported({"b.log"_q, "a.log"_q}), "b.log>b-2.log a.log>a-2.log | Copied, safe"_q);
        QCOMPARE(fileContents(copy("a-2.log"_q)), someBytes(1200000));
    }

    // The system tells of too large a file by a signal that ends the process.
    void staysWithinTheLimitOfAFile()
    {
        QVERIFY(write(log("a.log"_q), "log") && write(log("b.log"_q), someBytes(200000)));
        const rlimit limit = {100000, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const QString end = exported({"a.log"_q, "b.log"_q});
        QVERIFY(limitFileSize(RLIM_INFINITY));
        QCOMPARE(end, "a.log>a.log b.log:FileTooLarge | FileTooLarge, safe"_q);
    }

    void tellsWhatFailed_data()
    {
        QTest::addColumn<QString>("calls"); // that fail, or before which the disk changes
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QByteArray>("disk"); // the options of one of its own
        QTest::addColumn<QString>("change");
        const auto row = [](const char *name, const char *calls, int error, const char *expected, const char *disk = "",
                            const char *change = "") {
            QTest::newRow(name) << QString::fromLatin1(calls) << error << QString::fromLatin1(expected)
                                << QByteArray(disk) << QString::fromLatin1(change);
        };
        row("file not synced", "f", EIO, "a.log:CopyFailed b.log:CopyFailed | CopyFailed");
        row("block not written", "b", EIO, "a.log:CopyFailed b.log>b.log | NotSynced");
        row("folder not synced", "d", EIO, "a.log>a.log b.log>b.log | NotSynced");
        row("folder can't be synced", "d", EINVAL, "a.log>a.log b.log>b.log | Copied, safe");
        row("disk not synced", "s", EIO, "a.log>a.log b.log>b.log | NotSynced");
        row("full", "cw", ENOSPC, "a.log:DestinationFull b.log:DestinationFull | DestinationFull, safe");
        row("protected", "cw", EROFS, "a.log:DestinationReadOnly b.log:DestinationReadOnly | DestinationReadOnly");
        row("fits to the block", "", 0, "a.log>a.log b.log>b.log | Copied, safe", "size=1960k");
        row("a block too small", "", 0, "a.log:DestinationFull b.log:DestinationFull | DestinationFull", "size=1956k");
        row("protected at the end", "d", 0, "a.log>a.log b.log>b.log | NotSynced", "size=4m", "protect");
        row("pulled while copying", "c", 0, "a.log:DestinationGone b.log:DestinationGone | DestinationGone", "size=4m",
            "pull");
        row("pulled while syncing", "s", 0, "a.log>a.log b.log>b.log | DestinationGone", "size=4m", "pull");
    }
    void tellsWhatFailed()
    {
        QFETCH(QString, calls);
        QFETCH(int, error);
        QFETCH(QString, expected);
        QFETCH(QByteArray, disk);
        QFETCH(QString, change);
        const QByteArray stick = QFile::encodeName(m_stick);
        if (!disk.isEmpty() && (!canMount || ::mount("tmpfs", stick.constData(), "tmpfs", 0, disk.constData()) != 0)) {
            QTest::qSkip("mounting a disk in a private mount namespace is not allowed here", __FILE__, __LINE__);
            return;
        }
        QVERIFY(write(log("a.log"_q), someBytes(2000000)) && write(log("b.log"_q), "b"));
        for (const QChar call : calls) {
            ::calls().set(call.toLatin1(), error, [=] {
                if (change == "protect"_q)
                    ::mount(nullptr, stick.constData(), nullptr, MS_REMOUNT | MS_RDONLY, disk.constData());
                else if (change == "pull"_q)
                    ::umount2(stick.constData(), MNT_DETACH);
            });
        }
        QCOMPARE(exported({"a.log"_q, "b.log"_q}), expected);
        const QString leftThere = inventory(m_stick).join("|"_q);
        QVERIFY2(!leftThere.contains(".part"_q), qPrintable(leftThere));
        if (!disk.isEmpty()) {
            ::umount2(stick.constData(), MNT_DETACH);
            QCOMPARE(inventory(m_stick), QStringList()); // Nothing went to the mount point.
        }
    }

    void endsWithinABlock()
    {
        QVERIFY(write(log("a.log"_q), "a") && write(log("b.log"_q), someBytes(20000000)));
        calls().set('c', EINVAL);
        calls().set('w', 0, [] { ::usleep(50000); }); // 15 s for the large one
        ExportJob job;
        QVERIFY(job.start({log("a.log"_q), log("b.log"_q), log("a.log"_q)}, m_stick));
        const QSignalSpy progress(&job, &ExportJob::progressChanged);
        QTRY_VERIFY(job.bytesDone() > 300000);
        QCOMPARE(job.filesDone(), 1);
        QCOMPARE(job.currentFile(), "b.log"_q);
        QVERIFY(progress.size() >= 2 && progress.size() <= 20);
        QElapsedTimer timer;
        timer.start();
        job.cancel();
        QVERIFY(job.isCancelling() && isFinished(job));
        QCOMPARE(told(job), "a.log>a.log b.log:Cancelled a.log:Cancelled | Cancelled, safe"_q);
        QVERIFY2(timer.elapsed() < 700, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(inventory(m_stick), QStringList("a.log 100644 a"_q));
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
};

int main(int argc, char *argv[])
{
    // Before any thread exists: only threads started later share the mounts.
    canMount = ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    ::umask(S_IWGRP | S_IWOTH);
    QCoreApplication application(argc, argv);
    tst_ExportJob test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_exportjob.moc"
