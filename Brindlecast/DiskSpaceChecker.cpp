// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "DiskSpaceChecker.h"

#include "MessageSite_p.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QStorageInfo>

namespace {

constexpr qint64 kBytesPerMegabyte = 1000000;

// Published line numbers, unrelated to this file's lines.
constexpr const char *kGetFreeDisk = "qint64 DiskSpaceChecker::getFreeDisk(const QString&)";
constexpr MessageSite kDiskName = {__FILE__, 45, kGetFreeDisk};
constexpr MessageSite kDiskSize = {__FILE__, 46, kGetFreeDisk};
constexpr MessageSite kAvailableSize = {__FILE__, 48, kGetFreeDisk};

} // namespace

DiskSpaceChecker::DiskSpaceChecker(QObject *parent)
    : QObject(parent)
{
}

qint64 DiskSpaceChecker::getFreeDisk(const QString &path)
{
    const QStorageInfo storage(path);
    if (!storage.isValid())
        return -1;

    kDiskName.debug() << "disk name: " << storage.name();
    kDiskSize.debug() << "disk size: " << storage.bytesTotal() / kBytesPerMegabyte << "MB";
    const qint64 available = storage.bytesAvailable();
    kAvailableSize.debug() << "availableSize: " << storage.bytesAvailable() / kBytesPerMegabyte << "MB";
    return available;
}

quint64 DiskSpaceChecker::dirFileSize(const QString &path)
{
    const QFileInfo target(path);
    if (!target.isDir())
        return static_cast<quint64>(target.size());

    quint64 total = 0;
    QDirIterator entries(path, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        entries.next();
        const QFileInfo entry = entries.fileInfo();
        if (entry.isFile())
            total += static_cast<quint64>(entry.size());
    }
    return total;
}
