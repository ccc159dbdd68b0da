// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

#include <QObject>
#include <QString>
#include <QtGlobal>

/**
 * Answers how much room a volume has and how much a folder takes.
 *
 * Both operations are synchronous and keep no state between calls.
 *
 * Thread safety: reentrant. An object may be used on any thread, by one at a time.
 */
class BRINDLECAST_EXPORT DiskSpaceChecker : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(DiskSpaceChecker)

public:
    /** Makes a checker. `parent` may be null. */
    explicit DiskSpaceChecker(QObject *parent);

    /**
     * Returns the bytes available to the current user on the volume that holds `path`, or -1 when `path` does not
     * exist or its volume can't be found out.
     *
     * The figure is what a copy may fill, which is less than what is free where the volume keeps a reserve for root.
     * Writes three debug messages: the volume's name, its size and the room available, both in MB of 1,000,000 bytes
     * with the remainder dropped. With -1 it writes none.
     */
    qint64 getFreeDisk(const QString &path);

    /**
     * Returns the size in bytes of the files under the folder `path`, subfolders included.
     *
     * Hidden files and the content of hidden folders are left out. A link to a file counts with the size of that file;
     * links to folders are not followed, so a loop of links ends. What can't be read, vanishes meanwhile or has a name
     * that is not valid in the local encoding adds nothing. For anything but a folder, returns the size of `path`
     * itself, 0 when it does not exist.
     *
     * Walks the whole tree before it returns: call it for a large tree, or for one on a slow medium, on a thread that
     * may wait.
     */
    quint64 dirFileSize(const QString &path);
};
