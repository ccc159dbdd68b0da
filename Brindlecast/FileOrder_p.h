// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDir>
#include <QFileInfo>
#include <QFileInfoList>
#include <QStringList>
#include <QVector>

/*
 * Orders by time are those of QDir::Time, but by the true instant.
 *
 * QDir compares local wall-clock times, which puts the newer file last within the hour that the end of summer time
 * repeats, and converts them anew at every comparison, which takes seconds for some thousand files. Here each file is
 * asked once. Entries of the same millisecond are ordered by name; an entry that has vanished counts as the oldest.
 */

/**
 * Sorts the files of `entries` by modification time, newest first.
 *
 * Of `flags`, QDir::Reversed, QDir::IgnoreCase and QDir::LocaleAware are obeyed, as QDir does. Folders are not set
 * apart. `sizes` receives their sizes, which cost nothing here, in the same order; -1 for a file that has vanished.
 */
void sortByTime(QFileInfoList &entries, QDir::SortFlags flags = QDir::Time, QVector<qint64> *sizes = nullptr);

/** Returns the entry that sortByTime() would put first, or an empty one when there is none. */
QFileInfo newestFile(const QFileInfoList &entries);

/**
 * Returns the files of `folder`, but hidden ones, whose names end in one of `suffixes`, whatever their case.
 *
 * They are in the order that QDir gives with `flags`; the order by time is that of sortByTime(), which also tells their
 * `sizes`. Other orders leave `sizes` empty.
 */
QFileInfoList filesInOrder(QDir folder, const QStringList &suffixes, QDir::SortFlags flags,
                           QVector<qint64> *sizes = nullptr);
