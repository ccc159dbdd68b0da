// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "Load.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QDebug>
#include <QMap>

#include <functional>
#include <utility>

/*
 * Hosts of the logger, each in a process of its own, since a process has one logger and hosts end in many ways.
 *
 * A scenario is a function that runs hosts and expects something of each. What it expects may also be said in the host.
 */

/** The exit status of a host in which all expectations held. */
constexpr int kHostSucceeded = 3;
#ifdef __SANITIZE_ADDRESS__
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

/** What the failures that follow are about, for example one of several rows; printed with each. */
extern QByteArray situation;

/** Notes a failure, with file and line, unless the condition holds. Returns whether it holds. */
#define EXPECT(condition) noteExpectation((condition), __FILE__, __LINE__, #condition " does not hold")
/** The same, with both values, unless they are equal. */
#define EXPECT_EQUAL(actual, expected) EXPECT_RELATION(actual, std::equal_to<>(), "", expected)
/** The same, unless the first is less than the second. */
#define EXPECT_LESS(actual, bound) EXPECT_RELATION(actual, std::less<>(), "less than ", bound)
#define EXPECT_RELATION(actual, relation, words, other) \
    noteRelation((actual), (other), relation, words, __FILE__, __LINE__, #actual)

bool noteExpectation(bool isMet, const char *file, int line, const QByteArray &failure);

template <typename Actual, typename Other, typename Relation>
bool noteRelation(const Actual &actual, const Other &other, Relation isRelated, const char *words, const char *file,
                  int line, const char *text)
{
    QString failure;
    QDebug(&failure).nospace() << text << " is " << actual << ", not " << words << other;
    return noteExpectation(isRelated(actual, other), file, line, failure.toUtf8());
}

/** What the disk of this process does with each write to a file. */
enum class Disk {
    Sound,
    Slow,
    Stalled, ///< Nothing is written until the disk is another one.
    StalledHalfway, ///< The same, when half of the bytes are written.
    StalledAtTheEnd ///< The same, when all bytes are written.
};
inline std::atomic<Disk> disk{Disk::Sound};

/** The writes of several lines in this process that went beyond the end of a file's page. */
inline std::atomic<int> runsAcrossPages{0};

/** How a host should end. */
struct ExpectedExit
{
    int status = kHostSucceeded; ///< Or minus a signal.
    const char *errors = ""; ///< What it writes to standard error; nullptr for anything.
};

/**
 * Empties the log directory and runs `host` as the main() of a new process, which is killed after 100 seconds.
 *
 * @return how many milliseconds the process lived.
 */
qint64 runHost(const ExpectedExit &expected, const std::function<void()> &host);

/** Switches the logger on for category 1. */
inline QtDebugLogger *startLogging()
{
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    return logger;
}

struct Host
{
    bool isFlushed() const { return logger->flush(60000); }

    int argumentCount = 0;
    QCoreApplication application{argumentCount, nullptr};
    QtDebugLogger *logger = startLogging();
};

/** Raises the messages `from` to `to` - 1 of source 0. */
inline void raiseAll(int from, int to)
{
    for (int number = from; number < to; ++number)
        raise(0, number);
}

/** What the log files hold. */
struct Tally
{
    std::vector<int> lines = std::vector<int>(8); ///< Of the messages that raise() makes, by source.
    std::vector<int> next = lines; ///< The number after the last one; more than `lines`, if some are missing.
    QStringList others; ///< All other messages, with their labels.
};

/** Expects whole lines in order; with `count`, that many of source 0 without a gap, and no other messages. */
Tally expectWholeLines(int count = -1);

/** Each scenario by its name, with how much of it the test suite has time for. */
inline QMap<QLatin1String, std::pair<int, void (*)(int)>> &scenarios()
{
    static QMap<QLatin1String, std::pair<int, void (*)(int)>> all;
    return all;
}

/** Begins a scenario. CMake looks for this word. */
#define SCENARIO(name, shortAmount)                                                         \
    void name(int amount);                                                                  \
    const auto name##Entry = scenarios().insert(QLatin1String(#name), {shortAmount, name}); \
    void name([[maybe_unused]] int amount)
