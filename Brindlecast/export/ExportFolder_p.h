// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <functional>

#include <sys/stat.h>

/**
 * The folder that logs are copied to, open for as long as the export runs.
 *
 * All work is done through its descriptor, because when a stick is pulled out, its path may lead to the empty mount
 * point on the device's own disk, where copies must not end up. No link in the folder is ever followed.
 */
class ExportFolder
{
public:
    /** Opens the folder at the absolute `path`. */
    explicit ExportFolder(const QByteArray &path);
    ~ExportFolder();
    Q_DISABLE_COPY(ExportFolder)

    int descriptor() const { return m_descriptor; }
    /** Why it could not be opened, as errno; 0 when it was. */
    int openError() const { return m_openError; }

    /** True while the path leads to the folder that was opened. */
    bool isHere() const;
    /** True when the medium is protected, or was made read-only by the system after an error. */
    bool isReadOnly() const;
    /** Bytes available to this process, or -1 where the file system doesn't say. */
    qint64 bytesFree() const;
    /** What a file of `size` bytes takes, in whole blocks. */
    qint64 sizeOnDisk(qint64 size) const;

    /** Whether `name` is the file that `file` describes. A link is not followed. */
    bool holds(const QByteArray &name, const struct stat &file) const;

    /** Removes the incomplete copies of interrupted exports, until `goOn` returns false. */
    void removeLeftovers(const std::function<bool()> &goOn) const;

    /** Brings the names in the folder to the medium, then the rest of its file system. False after any error. */
    bool sync() const;

private:
    void removeLeftover(const QByteArray &name) const;

    const QByteArray m_path;
    const int m_descriptor;
    const int m_openError;
};
