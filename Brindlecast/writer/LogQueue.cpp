// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogQueue_p.h"

#include "KeptFile_p.h"
#include "LogWriterThread_p.h"

#include <QObject>

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

// Once full, the queue accepts lines again below this. Without the margin, every other line of a flood would be a
// notice.
constexpr int kRefillBelow = LogQueue::kMostWaitingLines - LogQueue::kMostWaitingLines / 16;

// Every wait has a limit: with some C++ libraries, cancelling a thread in a wait without one ends the process.
constexpr std::chrono::hours kLongestWait(1);

std::chrono::steady_clock::time_point endOf(QDeadlineTimer limit)
{
    const auto now = std::chrono::steady_clock::now();
    if (limit.isForever())
        return now + kLongestWait;
    return now + std::min<std::chrono::nanoseconds>(kLongestWait, std::chrono::nanoseconds(limit.remainingTimeNSecs()));
}

} // namespace

void LogQueue::open()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_phase.store(Phase::Open, std::memory_order_release);
}

void LogQueue::close(bool appendsClear)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (appendsClear)
        m_entries.append({EntryKind::Clear, 0, {}, false});
    m_phase.store(Phase::Closed, std::memory_order_release);
    unlockAndWake(lock, true);
}

void LogQueue::retireInChild()
{
    m_phase.store(Phase::Gone, std::memory_order_release);
    if (kept() != nullptr)
        kept()->leaveInChild();
}

bool LogQueue::retire()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_phase.store(Phase::Gone, std::memory_order_release);
    m_progressed.notify_all();
    return m_emissions == 0;
}

bool LogQueue::keep(std::unique_ptr<KeptFile> file, QStringView notice, quint32 lostLines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (kept() != nullptr || m_hasServed || !m_entries.isEmpty())
        return false;
    m_entries.keep(std::move(file), notice, lostLines);
    return true;
}

bool LogQueue::isInUse()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return kept() != nullptr || m_hasServed || !m_entries.isEmpty() || phase() == Phase::Gone;
}

LineOutcome LogQueue::push(QStringView text, unsigned long category, const QObject &emitter, bool isUrgent)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (phase() != Phase::Open)
        return LineOutcome::Refused;
    if (!hasRoomForLine()) {
        countDropped(1);
        return LineOutcome::Dropped;
    }
    if (m_droppedLines > 0)
        return LineOutcome::NoticeDue;
    if (m_isObserved || emitter.signalsBlocked()) {
        ++m_emissions;
        return LineOutcome::ToBeEmitted;
    }
    if (!m_entries.append({EntryKind::Line, category, text, isUrgent})) {
        countDropped(1);
        return LineOutcome::Dropped;
    }
    unlockAndWake(lock, true);
    return LineOutcome::Pushed;
}

bool LogQueue::pushRequest(const FileIOObjectPointer &request)
{
    if (phase() == Phase::Gone)
        return false; // A host may emit in a forked child.
    const QString text = request->textToWrite();
    std::unique_lock<std::mutex> lock(m_mutex);
    if (phase() != Phase::Open)
        return false;
    m_requests.push_back(request);
    if (!m_entries.append({EntryKind::Request, request->category, text, request->m_isUrgent})) {
        m_requests.pop_back();
        countDropped(1);
    }
    unlockAndWake(lock, true);
    return true;
}

void LogQueue::pushClear()
{
    if (phase() == Phase::Gone)
        return;
    std::unique_lock<std::mutex> lock(m_mutex);
    if (phase() != Phase::Open)
        return;
    m_entries.append({EntryKind::Clear, 0, {}, false});
    unlockAndWake(lock, true);
}

void LogQueue::setObserved()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isObserved = true;
}

bool LogQueue::beginEmission()
{
    if (phase() == Phase::Gone)
        return false;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (phase() == Phase::Gone)
        return false;
    ++m_emissions;
    return true;
}

void LogQueue::endEmission()
{
    // A slot may have forked.
    if (phase() == Phase::Gone)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_emissions;
}

quint64 LogQueue::takeDropped()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (kept() != nullptr)
        kept()->settleOutside(static_cast<quint32>(m_droppedLines));
    return std::exchange(m_droppedLines, 0);
}

void LogQueue::addDropped(quint64 lines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    countDropped(lines);
}

bool LogQueue::flush(QDeadlineTimer limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const quint64 pushed = m_entries.appended();
    while (m_isServing && m_handled < pushed) {
        if (limit.hasExpired())
            return false;
        m_awaited = std::min(m_awaited, pushed);
        m_progressed.wait_until(lock, endOf(limit));
    }
    return m_isServing && m_isNewestLineWritten;
}

bool LogQueue::hasWaiting()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_handled < m_entries.appended();
}

quint64 LogQueue::unwrittenLines()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<quint64>(m_entries.lines()) + m_droppedLines;
}

void LogQueue::beginServing()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isServing = m_hasServed = true;
    m_isWriterInside = true;
}

void LogQueue::endServing()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isServing = false;
    }
    m_woken.notify_one();
    m_progressed.notify_all();
}

bool LogQueue::waitForWriterToLeave(QDeadlineTimer limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (m_isWriterInside && !limit.hasExpired())
        m_progressed.wait_until(lock, endOf(limit));
    return !m_isWriterInside;
}

void LogQueue::sleep(bool wantsEntries, bool isOuterLoop, QDeadlineTimer limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto mustStayAwake = [this, wantsEntries, isOuterLoop] {
        return m_hasEvents || (isOuterLoop && !m_isServing) || (wantsEntries && m_isServing && !m_entries.isEmpty());
    };
    while (!mustStayAwake() && !limit.hasExpired()) {
        m_sleep = wantsEntries ? Sleep::UntilEntries : Sleep::UntilEvents;
        m_woken.wait_until(lock, endOf(limit));
    }
    m_sleep = Sleep::None;
}

void LogQueue::wakeUp()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_hasEvents = true;
    unlockAndWake(lock, false);
}

bool LogQueue::takeWakeUp()
{
    return m_hasEvents.load(std::memory_order_relaxed) && m_hasEvents.exchange(false);
}

QueuedEntries LogQueue::front()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_entries.front();
}

bool LogQueue::removeFront(int entries, EntryFate fate, bool isHandled, bool isWritten)
{
    // Without the lock, because it may change each entry.
    const int lines = m_entries.passFront(entries, fate);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.removePassed(lines);
    m_isNewestLineWritten = isWritten;
    if (isHandled)
        countHandled(entries);
    return isServing();
}

void LogQueue::addHandled(int entries)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    countHandled(entries);
}

FileIOObjectPointer LogQueue::takeRemovedRequest()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    FileIOObjectPointer request = std::move(m_requests.front());
    m_requests.pop_front();
    return request;
}

void LogQueue::leave()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isWriterInside = false;
    m_progressed.notify_all();
}

void LogQueue::intend(unsigned long category, int entries, qint64 begin, const QByteArray &bytes)
{
    // Without the lock, because it copies up to 4 KiB: only the writer changes what this reads of a queue with entries.
    m_entries.intend(category, entries, begin, bytes);
}

void LogQueue::intendBacklog(unsigned long category, qint64 begin, const QByteArray &bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.intendBacklog(category, begin, bytes);
}

void LogQueue::settleBacklog(unsigned long category)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.settleBacklog(category);
}

bool LogQueue::hasRoomForLine()
{
    m_isFull = m_entries.lines() >= (m_isFull ? kRefillBelow : kMostWaitingLines);
    return !m_isFull;
}

void LogQueue::countDropped(quint64 lines)
{
    m_droppedLines += lines;
    if (kept() != nullptr)
        kept()->addOutside(static_cast<quint32>(lines));
}

void LogQueue::countHandled(int entries)
{
    m_handled += static_cast<quint64>(entries);
    if (m_handled < m_awaited)
        return;
    m_awaited = std::numeric_limits<quint64>::max(); // A flush that must wait longer sets it again.
    m_progressed.notify_all();
}

void LogQueue::unlockAndWake(std::unique_lock<std::mutex> &lock, bool isForEntries)
{
    const bool wakes = m_sleep == Sleep::UntilEntries || (m_sleep == Sleep::UntilEvents && !isForEntries);
    if (wakes)
        m_sleep = Sleep::None;
    lock.unlock();
    if (wakes)
        m_woken.notify_one();
}
