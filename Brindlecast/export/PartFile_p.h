// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "ExportFolder_p.h"

#include <QByteArray>
#include <QtGlobal>

#include <functional>

#include <sys/stat.h>
#include <sys/types.h>

/**
 * A copy that is not complete yet, under a temporary name in the folder: "brindlecast-", sixteen hexadecimal digits and
 * ".part". Eight of the digits are random and the others are a checksum of them, so that nobody else's file is taken
 * for a leftover. The file is locked until publish() or the destructor closes it.
 *
 * Errors are given as errno, 0 for none.
 */
class PartFile
{
public:
    /** Whether `name` is the temporary name of such a copy. */
    static bool isOurName(const QByteArray &name);

    /** Makes an empty file with the permissions `mode`, less the umask. */
    PartFile(const ExportFolder &folder, mode_t mode);
    /** Removes the file unless publish() succeeded. */
    ~PartFile();
    Q_DISABLE_COPY(PartFile)

    /** Why it could not be made. */
    int creationError() const { return m_error; }
    int descriptor() const { return m_descriptor; }

    /** Brings the content to the medium. */
    int sync() const;

    /**
     * Gives the file its final name: `name` or, if something has that already, the first free one of name-2, name-3 and
     * so on. A dangling link counts as something; nothing is replaced. ECANCELED when `goOn` returned false; ESTALE
     * when somebody took the file away or put another in its place.
     */
    int publish(const QByteArray &name, const std::function<bool()> &goOn);

    /** The final name. */
    QByteArray publishedName() const { return m_publishedName; }

private:
    int makeFile(mode_t mode);
    int moveTo(const QByteArray &name) const;
    int replaceOwnPlaceholder(const QByteArray &name) const;

    const ExportFolder &m_folder;
    QByteArray m_name;
    QByteArray m_publishedName;
    int m_descriptor = -1;
    struct stat m_identity = {};
    const int m_error;
};
