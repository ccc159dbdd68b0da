// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "DiskChecker.h"

#include "FileOrder_p.h"
#include "MessageSite_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <algorithm>

namespace {

constexpr qint64 kDefaultNeededSpaceBytes = 100LL * 1024 * 1024;
constexpr int kFilesKept = BRINDLECAST_FILES_KEPT;
constexpr int kMostPasses = 10;

// Published line numbers, unrelated to this file's lines.
constexpr MessageSite kUnknownStorage{__FILE__, 58, "bool DiskChecker::isDiskFull(quint64)"};
constexpr MessageSite kEmptyDirectory{__FILE__, 95, "void DiskChecker::listDir()"};
constexpr MessageSite kFileRemoved{__FILE__, 128, "bool DiskChecker::removeOldestFile()"};
constexpr MessageSite kEmptyEntry{__FILE__, 133, "bool DiskChecker::removeOldestFile()"};

// As QDir's name filters do. A pattern such as "*.log" needs no regular expression: Qt destroys a global object that
// those need before the logger writes its last lines, while the process exits.
bool matches(const QString &name, const QStringList &patterns)
{
    const auto matchesOne = [&name](const QString &pattern) {
        const QString suffix = pattern.mid(1);
        const bool isSuffix = pattern.startsWith(QLatin1Char('*'))
            && std::none_of(suffix.begin(), suffix.end(), [](QChar c) { return QStringLiteral("*?[]\\").contains(c); });
        // As a list, because QDir splits a single text at ";" and " ".
        return isSuffix ? name.endsWith(suffix, Qt::CaseInsensitive) : QDir::match(QStringList(pattern), name);
    };
    return patterns.isEmpty() || std::any_of(patterns.begin(), patterns.end(), matchesOne);
}

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
    const QDir directory(m_keepsCurrentDirectory ? m_dirPath : QStringLiteral("."));
    if (!m_keepsCurrentDirectory)
        QDir::setCurrent(m_dirPath);
    m_dirList.clear();
    m_olderNamesakes.clear();
    if (directory.isEmpty()) {
        kEmptyDirectory.debug() << "Dictionary is Empty!";
        return;
    }
    QFileInfoList entries = directory.entryInfoList(QDir::Files, QDir::NoSort);
    const auto isForeign = [this](const QFileInfo &entry) { return !matches(entry.fileName(), m_filter); };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isForeign), entries.end());
    sortByTime(entries);
    for (const QFileInfo &entry : qAsConst(entries)) {
        const QString name = entry.baseName();
        m_dirList.append(name);
        if (entry.fileName() == name + QStringLiteral(".log"))
            m_olderNamesakes.insert(name, 0);
        else if (m_olderNamesakes.contains(name))
            ++m_olderNamesakes[name];
    }
}

bool DiskChecker::removeOldestFile()
{
    bool res = false;
    while (m_dirList.size() > kFilesKept) {
        const QString oldestEntry = m_dirList.takeLast();
        if (oldestEntry.isEmpty()) {
            kEmptyEntry.debug() << "no file in this dictionary";
            continue;
        }
        const auto olderNamesakes = m_olderNamesakes.find(oldestEntry);
        if (olderNamesakes == m_olderNamesakes.end() || (*olderNamesakes)-- > 0)
            continue; // There is no such ".log" file, or this is the turn of another one.
        const QString oldestFileName = oldestEntry + QStringLiteral(".log");
        const QString path = m_dirPath + oldestFileName;
        // When no directory is set, the current one was listed, whose files are not logs.
        if (!m_dirPath.isEmpty() && path != m_currentUsedLogFile && QFile::exists(path) && QFile::remove(path)) {
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
