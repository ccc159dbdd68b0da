// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

#include <QObject>
#include <QString>

/**
 * Copies logs to an export destination, and removes and finds files by extension.
 *
 * Copying and removing run `mkdir`, `cp` and `rm` through the system shell and block the calling thread until the
 * command has ended; for a large copy use a thread that may wait. Nothing is kept between calls.
 *
 * **Any text is safe to pass.** Text of letters and digits of any script and `. _ - / + @ , : % =` reaches the shell as
 * it is; a source path always stands in quotes. Any other text is quoted, so that the shell takes it as one plain word:
 * no blank splits it, and no `$`, `;`, `*`, `~` or line feed in it means anything. A `--`
 * before a word that begins with `-` keeps it from being taken for an option. What can't be said to the shell is
 * refused before anything runs, with the result of a failure and one debug message:
 * - a text that holds a NUL or that the local 8-bit encoding can't carry (half of a surrogate pair, for instance);
 * - an extension that is more than a suffix: with "/" or a pattern character (`*`, `?`, `[`).
 *
 * **What `system()` demands of the host.** It waits for its child: where SIGCHLD is ignored, or a handler of the host
 * collects every child (`waitpid(-1, ...)`), the command runs, but counts as failed, whatever its result was. SIGINT
 * and SIGQUIT (Ctrl-C) are ignored by the whole process while a command runs. ExportJob copies logs without any of
 * this.
 *
 * Relative paths count from the working directory of the process.
 *
 * Thread safety: reentrant. An object may be used on any thread, by one at a time.
 */
class BRINDLECAST_EXPORT DocumentUtils : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(DocumentUtils)

public:
    /** Makes a holder of the operations. `parent` may be null. */
    explicit DocumentUtils(QObject *parent);

    /**
     * Copies the file or folder `from`, with all that a folder holds, to `toDir` immediately followed by `toName`.
     *
     * | `toDir`      | `toName` | The copy of /logs/a.log          |
     * |--------------|----------|----------------------------------|
     * | /media/usb/  |          | /media/usb/a.log                 |
     * | /media/usb/  | b.log    | /media/usb/b.log                 |
     * | /media/usb   | b.log    | /media/usbb.log: mind the slash! |
     *
     * When `toDir` does not exist it is made first, one level only. An empty `toDir` is the working directory, which
     * exists; `toName` is needed then. A file that is already at the destination is overwritten.
     *
     * Returns 1 when the copy command succeeded, and 0 otherwise: `from` is empty or refused, does not exist, or the
     * command failed for whatever cause. Nothing is undone then, so part of a folder may have been copied. Success
     * means that the data was handed to the operating system, not that it is on the medium: sync before it is pulled.
     *
     * Writes debug messages: `from`, the command, and the status of a command that failed.
     */
    int copyFileOrDir(const QString &from, const QString &toDir, const QString &toName);

    /**
     * Removes what is named `dir` immediately followed by anything, a dot and `ext`.
     *
     * `dir` ends with a slash: without it, "/logs" and "txt" remove "/logs2.txt". Case matters, hidden files stay, and
     * a folder of such a name is removed with all it holds. More matches than fit a command line (some ten thousand)
     * make the command fail as a whole.
     *
     * @return **true when the command failed.** False when it succeeded, which it also does when nothing matched, and
     * false when nothing was run: `dir` does not exist, `ext` is empty, or one of them is refused.
     */
    bool removeSpecifiedExtFilesInDir(const QString &dir, const QString &ext);

    /**
     * Returns the path of the file in the folder `dir` that was changed last among those with the extension `ext`.
     *
     * Case does not matter; links to files are looked at, folders and hidden files are not. "Last" does not
     * depend on the local time and its changes; of files changed in the same millisecond, the order of names decides.
     * Runs no command and writes no message, and takes any extension as it is. Returns an empty string when there is no
     * such file or folder, and when `ext` is empty or holds "/" or a pattern character. Files whose names are not valid
     * in the local encoding are left out by Qt.
     */
    QString findFirstFileWithSpecifiedExt(const QString &dir, const QString &ext);
};
