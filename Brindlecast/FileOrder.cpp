// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "FileOrder_p.h"

#include <QFile>
#include <QFileInfo>
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

} // namespace

void sortByTime(QFileInfoList &entries, QDir::SortFlags flags)
{
    QVector<DatedEntry> dated;
    dated.reserve(entries.size());
    for (const QFileInfo &info : qAsConst(entries))
        dated.append({modificationMilliseconds(info), info.fileName(), info});

    const auto sensitivity = flags.testFlag(QDir::IgnoreCase) ? Qt::CaseInsensitive : Qt::CaseSensitive;
    const auto compareNames = [flags, sensitivity](const QString &left, const QString &right) {
        return flags.testFlag(QDir::LocaleAware) ? left.localeAwareCompare(right) : left.compare(right, sensitivity);
    };
    const auto newestFirst = [&compareNames](const DatedEntry &left, const DatedEntry &right) {
        if (left.milliseconds != right.milliseconds)
            return left.milliseconds > right.milliseconds;
        return compareNames(left.name, right.name) < 0;
    };
    std::sort(dated.begin(), dated.end(), newestFirst);
    if (flags.testFlag(QDir::Reversed))
        std::reverse(dated.begin(), dated.end());

    std::transform(dated.cbegin(), dated.cend(), entries.begin(), [](const DatedEntry &entry) { return entry.info; });
}
