// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <functional>

/** How the copying of a file's bytes ended. */
struct FileCopy
{
    enum Ending {
        Complete,
        Stopped, ///< because `goOn` said so
        SourceEnded, ///< before the bytes asked for
        SourceFailed,
        TargetFailed
    };

    /**
     * Copies the first `size` bytes of the file `source` to the empty file `target`, both open descriptors.
     *
     * Before each block, `goOn` gets the number of bytes copied and returns whether to continue. By then the medium has
     * all of them but the last block or two. So the progress on a slow stick is true, little is left to write at the
     * end, and the copying can be stopped soon at any time.
     */
    static FileCopy run(int source, int target, qint64 size, const std::function<bool(qint64 done)> &goOn);

    Ending ending = Complete;
    int error = 0; ///< as errno, of what failed
};
