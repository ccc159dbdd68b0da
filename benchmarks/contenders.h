// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

/** One way to get a message into a file. A process uses one of them, once: begin(), any number of raise(), end(). */
struct Contender
{
    const char *name;
    void (*begin)();
    /** Raises one line; called by several threads at once. */
    void (*raise)(int thread, int line);
    /** Returns when every line raised before has been handed to the operating system. */
    void (*end)();
};

/** The contender of that name, null if there is none. */
const Contender *findContender(const char *name);
