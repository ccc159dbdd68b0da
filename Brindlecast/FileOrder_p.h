// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDir>
#include <QFileInfoList>

/**
 * Sorts `entries` by modification time, newest first, as QDir does with QDir::Time, but by the true instant.
 *
 * QDir compares local wall-clock times, which puts the newer file last within the hour that the end of summer time
 * repeats, and converts them anew at every comparison, which takes seconds for some thousand files.
 *
 * Entries of the same millisecond are ordered by name. Of `flags`, QDir::Reversed, QDir::IgnoreCase and
 * QDir::LocaleAware are obeyed. An entry that has vanished counts as the oldest.
 */
void sortByTime(QFileInfoList &entries, QDir::SortFlags flags = QDir::Time);
