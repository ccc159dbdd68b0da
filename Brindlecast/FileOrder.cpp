// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "FileOrder_p.h"

#include <QFile>
#include <QString>
#include <QVector>

#include <algorithm>
#include <limits>

#include <sys/stat.h>

namespace {

struct DatedEntry
{
    qint64 milliseconds;
    QString name;
    QFileInfo info;
};

qint64 modificationMilliseconds(const QFileInfo &info)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(info.filePath()).constData(), &status) != 0)
        return std::numeric_limits<qint64>::min();
    return qint64{status.st_mtim.tv_sec} * 1000 + status.st_mtim.tv_nsec / 1000000;
}

DatedEntry dated(const QFileInfo &info, QDir::SortFlags flags = QDir::Time)
{
    const QString name = info.fileName();
    return {modificationMilliseconds(info), flags.testFlag(QDir::IgnoreCase) ? name.toLower() : name, info};
}

} // namespace

void sortByTime(QFileInfoList &entries, QDir::SortFlags flags)
{
    QVector<DatedEntry> datedEntries;
    datedEntries.reserve(entries.size());
    for (const QFileInfo &info : qAsConst(entries))
        datedEntries.append(dated(info, flags));

    const bool isLocaleAware = flags.testFlag(QDir::LocaleAware);
    const auto newestFirst = [isLocaleAware](const DatedEntry &left, const DatedEntry &right) {
        if (left.milliseconds != right.milliseconds)
            return left.milliseconds > right.milliseconds;
        return (isLocaleAware ? left.name.localeAwareCompare(right.name) : left.name.compare(right.name)) < 0;
    };
    std::sort(datedEntries.begin(), datedEntries.end(), newestFirst);
    if (flags.testFlag(QDir::Reversed))
        std::reverse(datedEntries.begin(), datedEntries.end());

    std::transform(datedEntries.cbegin(), datedEntries.cend(), entries.begin(),
                   [](const DatedEntry &entry) { return entry.info; });
}

QFileInfo newestFile(const QFileInfoList &entries)
{
    DatedEntry newest = {};
    for (const QFileInfo &info : entries) {
        DatedEntry entry = dated(info);
        const bool isNewer = newest.name.isEmpty() || entry.milliseconds > newest.milliseconds
            || (entry.milliseconds == newest.milliseconds && entry.name < newest.name);
        if (isNewer)
            newest = std::move(entry);
    }
    return newest.info;
}
