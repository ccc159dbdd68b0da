// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "LogTail.h"
#include "LogTailParser.h"

#include <Brindlecast/RegularFile_p.h>

#include <QString>
#include <QtGlobal>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

/** What a look at the file found. */
struct LogTail::Batch
{
    unsigned generation = 0;
    State state = State::Ready;
    /** Whether `rows` replace those of the model. If not, they replace its last `retracted` rows. */
    bool replaces = false;
    bool isComplete = true;
    bool hasLevels = false;
    int retracted = 0;
    Rows rows;

    void add(Batch &&next);
};

/**
 * Reads the file on a thread of its own. The thread shares ownership of the object, so that the model can be destroyed
 * while a system call blocks the thread.
 */
class LogTail::Reader
{
public:
    struct Request
    {
        QString path;
        Level lowestLevel = Level::None;
        bool isFollowing = false;
        int intervalMs = 0;
        unsigned generation = 0;
    };

    explicit Reader(LogTail *model)
        : m_model(model)
    {
    }
    Q_DISABLE_COPY(Reader)

    // For the model's thread.

    void ask(const std::shared_ptr<Reader> &self, const Request &request);
    std::optional<Batch> takeBatch();
    /** Ends the thread. To be called last. */
    void end();

private:
    // For the reading thread. m_mutex is locked in deliver(), and in run() except during look().

    void run();
    void look(const Request &request, bool isFirstLook);
    bool isContinuedBy(const RegularFile &file) const;
    bool readEnd(const RegularFile &file, const Request &request);
    bool readOn(const RegularFile &file, const Request &request);
    void deliver(Batch batch);

    std::atomic<unsigned> m_generation{0};
    std::thread m_thread;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    // protected by m_mutex:
    LogTail *m_model;
    Request m_request;
    bool m_isAsked = false;
    bool m_hasEnded = false;
    std::optional<Batch> m_batch;

    // The reading thread's own:
    State m_state = State::Empty;
    std::optional<Parser> m_parser;
    RegularFile::Identity m_identity;
    bool m_isLog = false;
    qint64 m_end = 0;
    std::string m_lastBytes;
    int m_openNumber = 0;
    std::vector<char> m_block;
};
