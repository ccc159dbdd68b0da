// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/QtDebugLogger.h>

#include <QThread>

#include <array>
#include <atomic>
#include <functional>
#include <random>
#include <thread>
#include <vector>

/** Runs `code` on `count` threads at once, each with its number from 0, until all have ended. */
inline void runInThreads(int count, const std::function<void(int number)> &code)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number)
        threads.emplace_back(code, number);
    for (std::thread &thread : threads)
        thread.join();
}

/** Raises message `number` of source `source`, with `size` characters more. */
inline void raise(int source, int number, int size = 0)
{
    qDebug("t%d %d.%*s|", source, number, size, "");
}

/** Threads that log during its life, eight lines at a time, each with a source number of its own from 0. */
class LoggingThreads
{
public:
    using Counts = std::array<int, 8>;

    LoggingThreads(int count, unsigned long pauseUs)
        : m_threads(runInThreads, count, [this, pauseUs](int source) {
            int &raised = m_raised.at(static_cast<std::size_t>(source));
            while (!m_isOver.load()) {
                for (int line = 0; line < 8; ++line)
                    raise(source, raised++);
                QThread::usleep(pauseUs);
            }
        })
    {
    }
    ~LoggingThreads() { finish(); }
    Q_DISABLE_COPY(LoggingThreads)

    /** Ends the threads; how many messages each has raised. */
    std::vector<int> finish()
    {
        m_isOver.store(true);
        if (m_threads.joinable())
            m_threads.join();
        return {m_raised.begin(), m_raised.end()};
    }

private:
    std::atomic<bool> m_isOver{false};
    Counts m_raised{};
    std::thread m_threads;
};

/** Calls the logger's controlling operations at random. */
inline void controlAtRandom(int milliseconds)
{
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    std::minstd_rand random{std::random_device()()};
    void (QtDebugLogger::*const operations[])()
        = {&QtDebugLogger::clearData, &QtDebugLogger::stopThread, &QtDebugLogger::startThread,
           &QtDebugLogger::disableOutputFile, &QtDebugLogger::enableOutputFile};
    for (const QDeadlineTimer end(milliseconds); !end.hasExpired(); QThread::usleep(random() % 500)) {
        (logger->*operations[random() % std::size(operations)])();
        if (random() % 4 == 0)
            logger->flush(5);
        logger->setLogCategoryEnabled(random() % 4 != 0, random() % 4);
        logger->setLogCategoryEnabled(true, 1);
    }
}
