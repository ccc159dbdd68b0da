// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <functional>

/** How the copying of a file's bytes ended. */
struct FileCopy
{
    enum End {
        Complete,
        Stopped, ///< because `goOn` said so
        SourceEnded, ///< before the bytes asked for
        SourceFailed,
        TargetFailed
    };

    /**
     * Copies the first `size` bytes of the file `source` to the empty file `target`, both open descriptors.
     *
     * Before each block `goOn` is told how many bytes have been copied and answers whether to go on. What was copied is
     * on its way to the medium by then, but for the last block or two: so a slow stick tells how far it really is,
     * never has a minute's worth to write at the end, and lets the copying be stopped at any time.
     */
    static FileCopy run(int source, int target, qint64 size, const std::function<bool(qint64 done)> &goOn);

    End end = Complete;
    int error = 0; ///< as errno, of what failed
};
