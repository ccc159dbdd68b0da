// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/ExportJob.h>

#include <QElapsedTimer>
#include <QMetaEnum>
#include <QScopeGuard>
#include <QSignalSpy>
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

/** What happens to the job's system calls: loc'k', 'c'opy, 'w'rite, 'b'ack, 'f'ile and 'd'irectory sync, 'r'ename,
 * 'l'ink, 's'ync. */
struct Calls
{
    std::mutex mutex;
    std::map<char, int> errors;
    std::map<char, std::function<void()>> before;
    QString made;

    bool fail(char call)
    {
        std::function<void()> act;
        int error = 0;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (made.size() < 64)
                made.append(QLatin1Char(call));
            act = before.count(call) > 0 ? before[call] : nullptr;
            error = errors.count(call) > 0 ? errors[call] : 0;
        }
        if (act)
            act();
        errno = error;
        return error != 0;
    }
    void set(char call, int error, const std::function<void()> &act = {})
    {
        const std::lock_guard<std::mutex> lock(mutex);
        errors[call] = error;
        before[call] = act;
    }
    void reset()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        errors.clear();
        before.clear();
        made.clear();
    }
};

Calls &calls()
{
    static Calls all;
    return all;
}

template <typename Function> Function real(const char *name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// In the place of the C library's.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" {

Q_DECL_EXPORT int flock(int file, int operation) noexcept
{
    static const auto call = real<decltype(&::flock)>("flock");
    return calls().fail('k') ? -1 : call(file, operation);
}

Q_DECL_EXPORT ssize_t sendfile(int to, int from, off_t *offset, size_t size)
{
    static const auto call = real<decltype(&::sendfile)>("sendfile64");
    return calls().fail('c') ? -1 : call(to, from, offset, size);
}

Q_DECL_EXPORT ssize_t pwrite(int file, const void *bytes, size_t size, off_t at)
{
    static const auto call = real<decltype(&::pwrite)>("pwrite64");
    return calls().fail('w') ? -1 : call(file, bytes, size, at);
}

Q_DECL_EXPORT int sync_file_range(int file, off64_t at, off64_t size, unsigned flags)
{
    static const auto call = real<decltype(&::sync_file_range)>("sync_file_range");
    return calls().fail('b') ? -1 : call(file, at, size, flags);
}

Q_DECL_EXPORT int fsync(int file)
{
    static const auto call = real<decltype(&::fsync)>("fsync");
    struct stat status = {};
    ::fstat(file, &status);
    return calls().fail(S_ISDIR(status.st_mode) ? 'd' : 'f') ? -1 : call(file);
}

Q_DECL_EXPORT int syncfs(int file) noexcept
{
    static const auto call = real<decltype(&::syncfs)>("syncfs");
    return calls().fail('s') ? -1 : call(file);
}

Q_DECL_EXPORT int renameat2(int from, const char *name, int to, const char *newName, unsigned flags) noexcept
{
    static const auto call = real<decltype(&::renameat2)>("renameat2");
    return calls().fail('r') ? -1 : call(from, name, to, newName, flags);
}

Q_DECL_EXPORT int linkat(int from, const char *name, int to, const char *newName, int flags) noexcept
{
    static const auto call = real<decltype(&::linkat)>("linkat");
    return calls().fail('l') ? -1 : call(from, name, to, newName, flags);
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

using Occupy = std::function<bool(const QString &path)>;
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

QString told(const ExportJob &job)
{
    QStringList all;
    const QVector<ExportJob::FileResult> files = job.results();
    for (const ExportJob::FileResult &file : files) {
        const bool isCopied = file.outcome == ExportJob::Outcome::Copied;
        const QString why = QLatin1String(QMetaEnum::fromType<ExportJob::Outcome>().valueToKey(int(file.outcome)));
        const bool hasReason = isCopied == file.reason.isEmpty() && isCopied != file.savedAs.isEmpty();
        all.append(file.name + (isCopied ? ">"_q + file.savedAs : ":"_q + why) + (hasReason ? QString() : "?"_q));
    }
    const QString end = QLatin1String(QMetaEnum::fromType<ExportJob::Outcome>().valueToKey(int(job.outcome())));
    return all.join(" "_q) + " | "_q + end + (job.safeToRemove() ? ", safe"_q : QString());
}

bool isFinished(const ExportJob &job)
{
    return QTest::qWaitFor([&job] { return job.state() == ExportJob::State::Finished; }, 30000);
}

} // namespace

Q_DECLARE_METATYPE(Occupy)
Q_DECLARE_METATYPE(Change)

class tst_ExportJob : public QObject
{
    Q_OBJECT

    QString m_logs;
    QString m_stick;
    QScopedPointer<QTemporaryDir> m_folder;

    QString log(const QString &name) const { return m_logs + name; }
    QString copy(const QString &name) const { return m_stick + name; }

    /** Exports logs by name; what the job told. */
    QString exported(const QStringList &names)
    {
        QStringList paths;
        for (const QString &name : names)
            paths.append(name.startsWith("/"_q) ? name : log(name));
        ExportJob job;
        return job.start(paths, m_stick) && isFinished(job) ? told(job) : "no end"_q;
    }

    bool mountStick(const char *options)
    {
        return canMount && ::mount("tmpfs", QFile::encodeName(m_stick).constData(), "tmpfs", 0, options) == 0;
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
        const QString longName = QString(251, QLatin1Char('n')) + ".log"_q;
        const QString wideName = QString(83, QChar(u'日')) + "ab.log"_q; // 255 bytes
        const std::map<QString, QByteArray> logs
            = {{"empty.log"_q, ""},  {"a b'$.log"_q, "x"}, {"big.log"_q, someBytes(3 * 1024 * 1024 + 17)},
               {".log"_q, "hidden"}, {"plain"_q, "p"},     {longName, "l"},
               {wideName, "w"}};
        QStringList paths;
        for (const auto &[name, bytes] : logs) {
            QVERIFY(write(log(name), bytes) && write(copy(name), "taken"));
            paths.append(log(name));
        }
        QVERIFY(write(log("own.log"_q), "own") && ::chmod(QFile::encodeName(log("own.log"_q)).constData(), 0400) == 0);
        QVERIFY(QFile::link(log("own.log"_q), log("link.log"_q)));
        ExportJob job;
        QVERIFY(!job.start({}, m_stick) && job.start(paths + QStringList(log("link.log"_q)), m_stick));
        QVERIFY(!job.start(paths, m_stick) && isFinished(job));

        const QStringList names = {"-2.log"_q,
                                   "a b'$-2.log"_q,
                                   "big-2.log"_q,
                                   "empty-2.log"_q,
                                   QString(249, QLatin1Char('n')) + "-2.log"_q,
                                   "plain-2"_q,
                                   QString(83, QChar(u'日')) + "-2.log"_q,
                                   "link.log"_q};
        QStringList savedAs;
        const QVector<ExportJob::FileResult> results = job.results();
        for (const ExportJob::FileResult &file : results)
            savedAs.append(file.savedAs);
        QCOMPARE(savedAs, names);
        QVERIFY(job.safeToRemove() && job.outcome() == ExportJob::Outcome::Copied
                && job.copiedCount() == paths.size() + 1);
        QCOMPARE(QDir(m_stick).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(),
                 2 * int(logs.size()) + 1);
        for (int i = 0; i < paths.size(); ++i) {
            QCOMPARE(fileContents(copy(names[i])), logs.at(QFileInfo(paths[i]).fileName()));
            QCOMPARE(fileContents(copy(QFileInfo(paths[i]).fileName())), QByteArray("taken"));
        }
        struct stat status = {};
        QCOMPARE(::lstat(QFile::encodeName(copy("link.log"_q)).constData(), &status), 0);
        QCOMPARE(int(status.st_mode & 07777), 0600);
        QVERIFY(S_ISREG(status.st_mode) && fileContents(copy("link.log"_q)) == "own");
        QVERIFY(job.bytesDone() == job.bytesTotal() && job.bytesTotal() == 3 * 1024 * 1024 + 17 + 13);
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
        QTest::addColumn<Occupy>("occupy");
        const auto link = [this](const QString &target) {
            return [=](const QString &at) { return QFile::link(m_folder->filePath(target), at); };
        };
        QTest::addRow("link to a file") << Occupy([=](const QString &at) { return link("victim"_q)(at); });
        QTest::addRow("link to nothing") << Occupy([=](const QString &at) { return link("none"_q)(at); });
        QTest::addRow("link to a folder") << Occupy([=](const QString &at) { return link("logs"_q)(at); });
        QTest::addRow("link to a device") << Occupy([](const QString &at) { return QFile::link("/dev/full"_q, at); });
        QTest::addRow("folder") << Occupy([](const QString &at) { return QDir().mkdir(at); });
        QTest::addRow("pipe") << Occupy(
            [](const QString &at) { return ::mkfifo(QFile::encodeName(at).constData(), 0666) == 0; });
        QTest::addRow("file") << Occupy([](const QString &at) { return write(at, "the user's"); });
        QTest::addRow("read-only file") << Occupy([](const QString &at) {
            return write(at, "the user's") && ::chmod(QFile::encodeName(at).constData(), 0400) == 0;
        });
    }
    void keepsWhatIsThere()
    {
        QFETCH(Occupy, occupy);
        for (const char missing : {'-', 'r', 'l'}) {
            calls().set(missing, EINVAL);
            init();
            QVERIFY(write(m_folder->filePath("victim"_q), "untouched") && write(log("a.log"_q), "log"));
            // The name that a part had is taken, too, in case it is used again or looks like a leftover.
            QString part;
            calls().set('f', 0, [&] { part = QDir(m_stick).entryList(QDir::Files).value(0); });
            QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
            QVERIFY(part.endsWith(".part"_q) && QFile::remove(copy("a.log"_q)));
            calls().set('f', 0);
            for (const char *name : {"a.log", "a.log.part", "a-2.log", "brindlecast-0123456789abcdef.part"})
                QVERIFY(occupy(copy(QLatin1String(name))));
            const bool isLeftover = QByteArray(QTest::currentDataTag()).contains("file") && !part.isEmpty()
                && !QByteArray(QTest::currentDataTag()).contains("link");
            QVERIFY(isLeftover || occupy(copy(part)));
            const QStringList before = inventory(m_stick);
            const QStringList others = inventory(m_folder->path());
            QCOMPARE(exported({"a.log"_q}), "a.log>a-3.log | Copied, safe"_q);
            QCOMPARE(fileContents(copy("a-3.log"_q)), QByteArray("log"));
            QVERIFY(QFile::remove(copy("a-3.log"_q)));
            QCOMPARE(inventory(m_stick), before);
            QCOMPARE(fileContents(m_folder->filePath("victim"_q)), QByteArray("untouched"));
            QVERIFY(!QFile::exists(m_folder->filePath("none"_q)) && inventory(m_logs).size() == 1);
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
            const QByteArray victim = QFile::encodeName(m_folder->filePath("victim"_q));
            const QByteArray stick = QFile::encodeName(m_stick);
            for (unsigned turn = 0; !isOver.load(); ++turn) {
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
                    const bool isWhole = isPart || taken.isSymLink() || !taken.isFile() || taken.size() == bytes.size()
                        || taken.size() == 10 || taken.size() == 5;
                    torn += isWhole ? 0 : 1;
                    switch (turn % 3) {
                    case 0:
                        (void) !::symlink(victim.constData(), at.constData());
                        break;
                    case 1:
                        ::mkfifo(at.constData(), 0666);
                        break;
                    default:
                        write(QFile::decodeName(at), "the user's");
                    }
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
        QVERIFY(copied > 0 && torn.load() == 0);
        qInfo("%d copies in %lld ms", copied, timer.elapsed());
    }

    void noticesAPartThatWasTakenAway()
    {
        QVERIFY(write(log("a.log"_q), "log") && write(m_folder->filePath("victim"_q), "untouched"));
        for (const char call : {'f', 'r'}) { // the last is too late to be seen before the part gets its name
            calls().reset();
            calls().set(call, 0, [this] {
                const QString part = QDir(m_stick).entryList({"*.part"_q}, QDir::Files).value(0);
                ::rename(QFile::encodeName(copy(part)).constData(), QFile::encodeName(copy("away"_q)).constData());
                QFile::link(m_folder->filePath("victim"_q), copy(part));
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
        QString part;
        calls().set('f', 0, [&] { part = QDir(m_stick).entryList(QDir::Files).value(0); });
        QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
        calls().set('f', 0);
        QVERIFY(write(copy(part), "half a lo"));
        const int file = ::open(QFile::encodeName(copy(part)).constData(), O_RDONLY | O_CLOEXEC);
        QVERIFY(file >= 0 && ::flock(file, LOCK_EX) == 0);
        QCOMPARE(exported({"a.log"_q}), "a.log>a-2.log | Copied, safe"_q);
        QVERIFY(QFile::exists(copy(part))); // Somebody is still at it.
        ::close(file);
        const QString others = QString(part).replace(12, 2, part.mid(12, 2) == "00"_q ? "11"_q : "00"_q);
        QVERIFY(write(copy(others), "the user's"));
        QCOMPARE(exported({"a.log"_q}), "a.log>a-3.log | Copied, safe"_q);
        QVERIFY(!QFile::exists(copy(part)) && QFile::exists(copy(others)));
    }

    // Another export, which looks for leftovers, can lock a part before its maker does, and removes it then.
    void givesUpAPartTakenForALeftover()
    {
        QVERIFY(write(log("a.log"_q), "log"));
        QByteArray part;
        int other = -1;
        calls().set('k', 0, [&] {
            if (!part.isEmpty())
                return;
            part = QFile::encodeName(copy(QDir(m_stick).entryList({"*.part"_q}, QDir::Files).value(0)));
            other = ::open(part.constData(), O_RDONLY | O_CLOEXEC);
            ::flock(other, LOCK_EX | LOCK_NB);
        });
        calls().set('f', 0, [&] { ::unlink(part.constData()); });
        QCOMPARE(exported({"a.log"_q}), "a.log>a.log | Copied, safe"_q);
        ::close(other);
        QCOMPARE(inventory(m_stick).size(), 1);
    }

    void refusesWhatIsNoLog()
    {
        QVERIFY(QDir().mkdir(log("folder.log"_q))
                && ::mkfifo(QFile::encodeName(log("pipe.log"_q)).constData(), 0666) == 0);
        QVERIFY(QFile::link("/dev/zero"_q, log("device.log"_q)) && QFile::link(log("none"_q), log("dangling.log"_q)));
        QVERIFY(write(log("a.log"_q), "log") && write(log("cut"_q), "another"));
        QString nul = log("cut"_q);
        nul.append(QChar(QChar::Null));
        QCOMPARE(
            exported({"folder.log"_q, "pipe.log"_q, "device.log"_q, "dangling.log"_q, "none.log"_q, "a.log/b"_q, nul,
                      "a.log"_q}),
            "folder.log:NotAFile pipe.log:NotAFile device.log:NotAFile dangling.log:SourceGone none.log:SourceGone "
            "b:SourceGone cut"_q
                + QChar(QChar::Null) + ":SourceGone a.log>a.log | SourceGone, safe"_q);
        QCOMPARE(QDir(m_stick).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList("a.log"_q));
    }

    void copiesALogAsItWas()
    {
        QVERIFY(write(log("a.log"_q), someBytes(1000000)));
        const auto append = [this] {
            QFile file(log("a.log"_q));
            file.open(QIODevice::Append);
            file.write("more than there was");
        };
        calls().set('c', 0, append);
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
        QTest::addRow("umask 000") << 0 << 0644;
        QTest::addRow("umask 077") << 077 << 0600;
    }
    void worksInAnyHost()
    {
        QFETCH(int, umaskBits);
        QFETCH(int, mode);
        const mode_t formerUmask = ::umask(0);
        const auto formerHandler = std::signal(
            SIGCHLD, umaskBits == 0 ? SIG_IGN : [](int) {});
        const QByteArray path = qgetenv("PATH");
        sigset_t all;
        sigset_t formerSignals;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &formerSignals);
        rlimit formerLimit = {};
        ::getrlimit(RLIMIT_FSIZE, &formerLimit);
        const auto restore = qScopeGuard([&] {
            ::umask(formerUmask);
            std::signal(SIGCHLD, formerHandler);
            qputenv("PATH", path);
            ::setrlimit(RLIMIT_FSIZE, &formerLimit);
            ::pthread_sigmask(SIG_SETMASK, &formerSignals, nullptr);
        });
        QVERIFY(write(log("a.log"_q), "log") && write(log("b.log"_q), someBytes(200000)));
        qunsetenv("PATH");
        ::umask(static_cast<mode_t>(umaskBits));
        if (umaskBits == 0)
            ::pthread_sigmask(SIG_SETMASK, &formerSignals, nullptr);
        const rlimit limit = {100000, formerLimit.rlim_max}; // which a signal tells that ends a process
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        QCOMPARE(exported({"a.log"_q, "b.log"_q}), "a.log>a.log b.log:FileTooLarge | FileTooLarge, safe"_q);
        struct stat status = {};
        QVERIFY(::stat(QFile::encodeName(copy("a.log"_q)).constData(), &status) == 0
                && int(status.st_mode & 07777) == mode);
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
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const char *call, int error, const char *expected) {
            QTest::addRow("%s", name) << QString::fromLatin1(call) << error << QString::fromLatin1(expected);
        };
        row("file not synced", "f", EIO, "a.log:CopyFailed b.log:CopyFailed | CopyFailed, safe");
        row("block not written", "b", EIO, "a.log:CopyFailed b.log>b.log | CopyFailed, safe");
        row("folder not synced", "d", EIO, "a.log>a.log b.log>b.log | NotSynced");
        row("folder can't be synced", "d", EINVAL, "a.log>a.log b.log>b.log | Copied, safe");
        row("disk not synced", "s", EIO, "a.log>a.log b.log>b.log | NotSynced");
        row("full", "cw", ENOSPC, "a.log:DestinationFull b.log:DestinationFull | DestinationFull, safe");
        row("full when synced", "f", ENOSPC, "a.log:DestinationFull b.log:DestinationFull | DestinationFull, safe");
        row("protected", "cw", EROFS,
            "a.log:DestinationReadOnly b.log:DestinationReadOnly | DestinationReadOnly, safe");
        row("file too large", "cw", EFBIG, "a.log:FileTooLarge b.log:FileTooLarge | FileTooLarge, safe");
        row("no such name", "r", ENAMETOOLONG, "a.log:CopyFailed b.log:CopyFailed | CopyFailed, safe");
    }
    void tellsWhatFailed()
    {
        QFETCH(QString, call);
        QFETCH(int, error);
        QFETCH(QString, expected);
        QVERIFY(write(log("a.log"_q), someBytes(2000000)) && write(log("b.log"_q), "b"));
        for (const QChar one : call)
            calls().set(one.toLatin1(), error);
        QCOMPARE(exported({"a.log"_q, "b.log"_q}), expected);
        const QStringList leftThere = inventory(m_stick);
        for (const QString &left : leftThere)
            QVERIFY2(left.contains(".log 100644"_q), qPrintable(left));
    }

    void meetsTheLimitsOfTheMedium_data()
    {
        QTest::addColumn<QByteArray>("options");
        QTest::addColumn<QString>("when"); // the call at which the medium changes
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("expected");
        const Change fill = [](const QByteArray &stick) {
            QFile filler(QFile::decodeName(stick) + "filler"_q);
            filler.open(QIODevice::Append | QIODevice::Unbuffered);
            while (filler.write(QByteArray(4096, 'f')) > 0) { }
        };
        const Change protect = [](const QByteArray &stick) {
            ::mount(nullptr, stick.constData(), nullptr, MS_REMOUNT | MS_RDONLY, "size=400k");
        };
        const Change pull = [](const QByteArray &stick) { ::umount2(stick.constData(), MNT_DETACH); };
        const Change none = [](const QByteArray &) {};
        const auto row
            = [](const char *name, const char *options, const char *when, const Change &change, const char *expected) {
                  QTest::addRow("%s", name)
                      << QByteArray(options) << QString::fromLatin1(when) << change << QString::fromLatin1(expected);
              };
        const char *const full = "a.log:DestinationFull b.log:DestinationFull | DestinationFull";
        row("fits to the block", "size=300k", "", none, "a.log>a.log b.log>b.log | Copied, safe");
        row("a block too small", "size=296k", "", none, full);
        row("no files left", "size=400k,nr_inodes=1", "", none,
            "a.log:DestinationFull b.log:DestinationFull | DestinationFull, safe");
        row("filled meanwhile", "size=400k", "c", fill,
            "a.log:DestinationFull b.log:DestinationFull | DestinationFull, safe");
        row("protected before", "size=400k", "0", protect,
            "a.log:DestinationReadOnly b.log:DestinationReadOnly | DestinationReadOnly");
        row("protected at the end", "size=400k", "d", protect, "a.log>a.log b.log>b.log | NotSynced");
        row("pulled while copying", "size=400k", "c", pull,
            "a.log:DestinationGone b.log:DestinationGone | DestinationGone");
        row("pulled while syncing", "size=400k", "s", pull, "a.log>a.log b.log>b.log | DestinationGone");
    }
    void meetsTheLimitsOfTheMedium()
    {
        QFETCH(QByteArray, options);
        QFETCH(QString, when);
        QFETCH(Change, change);
        QFETCH(QString, expected);
        if (!mountStick(options.constData())) {
            QTest::qSkip("mounting a disk in a private mount namespace is not allowed here", __FILE__, __LINE__);
            return;
        }
        QVERIFY(write(log("a.log"_q), someBytes(40 * 4096)) && write(log("b.log"_q), someBytes(35 * 4096)));
        const QByteArray stick = QFile::encodeName(m_stick);
        if (when == "0"_q)
            change(stick);
        else if (!when.isEmpty())
            calls().set(when.at(0).toLatin1(), 0, [=] { change(stick); });
        QCOMPARE(exported({"a.log"_q, "b.log"_q}), expected);
        const QStringList leftThere = inventory(m_stick);
        for (const QString &left : leftThere)
            QVERIFY2(left.startsWith("filler "_q) || left.contains(".log 100644"_q), qPrintable(left));
        ::umount2(stick.constData(), MNT_DETACH);
        QCOMPARE(inventory(m_stick), QStringList()); // Nothing went to the mount point.
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
        QVERIFY(job->filesDone() == 1 && job->currentFile() == "b.log"_q && job->bytesTotal() == 20000002);
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
        std::atomic_bool isStalled{true};
        std::atomic_bool isHeldUp{false};
        calls().set('f', 0, [&] {
            isHeldUp.store(true);
            while (isStalled.load())
                ::usleep(1000);
        });
        auto job = std::make_unique<ExportJob>();
        QVERIFY(job->start({log("a.log"_q)}, m_stick));
        QTRY_VERIFY(isHeldUp.load());
        QElapsedTimer timer;
        timer.start();
        job.reset();
        QVERIFY(timer.elapsed() < 2000 && inventory(m_stick).size() == 1);
        isStalled.store(false);
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
