// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "DiskChecker.h"

#include "FileOrder_p.h"
#include "MessageSite_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

namespace {

constexpr qint64 kDefaultNeededSpaceBytes = 100LL * 1024 * 1024;
constexpr int kFilesKept = 10;
constexpr int kMostPasses = 10;

constexpr MessageSite kUnknownStorage{__FILE__, 58, "bool DiskChecker::isDiskFull(quint64)"};
constexpr MessageSite kEmptyDirectory{__FILE__, 95, "void DiskChecker::listDir()"};
constexpr MessageSite kFileRemoved{__FILE__, 128, "bool DiskChecker::removeOldestFile()"};
constexpr MessageSite kEmptyEntry{__FILE__, 133, "bool DiskChecker::removeOldestFile()"};

} // namespace

DiskChecker::DiskChecker(QObject *parent)
    : QObject(parent)
    , m_freeSpaceSize(kDefaultNeededSpaceBytes)
{
}

bool DiskChecker::checkDisk()
{
    bool result = false;
    bool isFolderEmpty = false;
    for (int pass = 0; pass < kMostPasses && !isFolderEmpty; ++pass) {
        isFolderEmpty = !updateFolder();
        result = !isDiskFull(static_cast<quint64>(m_freeSpaceSize));
    }
    return result;
}

bool DiskChecker::isDiskFull(quint64 maxsize)
{
    const QStorageInfo storage(m_dirPath);
    if (storage.isValid())
        return static_cast<quint64>(storage.bytesAvailable()) < maxsize;
    kUnknownStorage.debug() << "Dictionary path is invalid " << m_dirPath;
    return true;
}

void DiskChecker::listDir()
{
    QDir directory;
    QDir::setCurrent(m_dirPath);
    m_dirList.clear();
    m_listedNames.clear();
    if (directory.isEmpty()) {
        kEmptyDirectory.debug() << "Dictionary is Empty!";
        return;
    }
    QFileInfoList entries = directory.entryInfoList(m_filter, QDir::Files, QDir::NoSort);
    sortByTime(entries);
    for (const QFileInfo &entry : qAsConst(entries)) {
        m_dirList.append(entry.baseName());
        m_listedNames.append(entry.fileName());
    }
}

bool DiskChecker::removeOldestFile()
{
    bool res = false;
    while (m_dirList.size() > kFilesKept) {
        const QString oldestEntry = m_dirList.takeLast();
        const QString listedName = m_listedNames.isEmpty() ? QString() : m_listedNames.takeLast();
        if (oldestEntry.isEmpty()) {
            kEmptyEntry.debug() << "no file in this dictionary";
            continue;
        }
        const QString oldestFileName = oldestEntry + QStringLiteral(".log");
        const QString path = m_dirPath + oldestFileName;
        // Without a directory the listing is that of the current one, whose files are not ours.
        if (!m_dirPath.isEmpty() && oldestFileName == listedName && path != m_currentUsedLogFile && QFile::exists(path)
            && QFile::remove(path)) {
            res = true;
            kFileRemoved.debug() << "The file :" << oldestFileName << "is removed";
        }
    }
    return res;
}

bool DiskChecker::updateFolder()
{
    listDir();
    return removeOldestFile();
}
