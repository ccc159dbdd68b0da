// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Runs tst_exportscreen.qml against the QML module.

#include "support/TestSupport.h"

#include <Brindlecast/QtDebugLogger.h>

#include <QQmlContext>
#include <QQmlEngine>
#include <QTemporaryDir>
#include <QtQuickTest>

#include <memory>
#include <vector>

#include <dlfcn.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

// In the place of the C library's: sticks take their time, and a test has to come in between.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
extern "C" Q_DECL_EXPORT int fsync(int file)
{
    static const auto realFsync = reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, "fsync"));
    ::usleep(10000);
    return realFsync(file);
}

namespace {

/** What the tests do to folders and disks behind the screen's back, as "disk". */
class Disk : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString logDirectory MEMBER m_logDirectory CONSTANT)

public:
    /** Whether this process has mounts of its own, so that the machine keeps nothing of them. */
    bool canMount = false;

    ~Disk() override
    {
        for (const auto &folder : m_folders)
            ::umount2(QFile::encodeName(folder->path()).constData(), MNT_DETACH);
    }

    Q_INVOKABLE QString makeFolder() { return m_folders.emplace_back(std::make_unique<QTemporaryDir>())->path(); }
    Q_INVOKABLE bool remove(const QString &path) { return removeAny(path); }
    Q_INVOKABLE bool makePath(const QString &path) { return QDir().mkpath(path); }
    /** Writes a file of `size` bytes, last changed `minutes` minutes after a certain time. */
    Q_INVOKABLE bool write(const QString &path, int size, int minutes)
    {
        QFile file(path);
        const QDateTime time = QDateTime({2026, 11, 16}, {8, 0}).addSecs(qint64(minutes) * 60);
        return file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, 'x')) == size && file.flush()
            && file.setFileTime(time, QFileDevice::FileModificationTime);
    }
    Q_INVOKABLE bool append(const QString &path, const QString &text)
    {
        QFile file(path);
        return file.open(QIODevice::Append) && file.write(text.toUtf8()) == text.toUtf8().size();
    }
    Q_INVOKABLE QStringList list(const QString &path)
    {
        return QDir(path).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }
    Q_INVOKABLE QString content(const QString &path) { return QString::fromUtf8(fileContents(path)); }
    /** Puts an empty disk on a folder, with the mount options of a tmpfs. False where that is not allowed. */
    Q_INVOKABLE bool mountDisk(const QString &options, const QString &path, bool isProtected = false)
    {
        const unsigned long flags = isProtected ? MS_RDONLY : 0;
        const char *const type = "tmpfs";
        return canMount && ::mount(type, QFile::encodeName(path).constData(), type, flags, qPrintable(options)) == 0;
    }
    Q_INVOKABLE void log(const QString &text) { qInfo() << text; }
    Q_INVOKABLE bool flushLog() { return QtDebugLogger::getInstance()->flush(5000); }

public Q_SLOTS: // Called by Qt Quick Test.
    void applicationAvailable() { QtDebugLogger::getInstance()->setLogCategoryEnabled(true, 1); }
    void qmlEngineAvailable(QQmlEngine *engine) { engine->rootContext()->setContextProperty("disk"_q, this); }

private:
    const QString m_logDirectory = logDirectory();
    std::vector<std::unique_ptr<QTemporaryDir>> m_folders;
};

} // namespace

int main(int argc, char *argv[])
{
    // Before any thread exists: only threads started later share the mounts.
    Disk disk;
    disk.canMount = ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return quick_test_main_with_setup(argc, argv, "tst_exportscreen", QUICK_TEST_SOURCE_DIR, &disk);
}

#include "tst_exportscreen.moc"
