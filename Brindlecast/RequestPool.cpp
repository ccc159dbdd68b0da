// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "RequestPool_p.h"

#include <mutex>
#include <type_traits>

namespace {

constexpr int kMostPooled = 256; // Some 250 KiB, and more than the bursts that a writer keeps up with.
constexpr int kLongestKeptLine = 512;

std::mutex access; // Only ever tried, so that no thread waits, or makes a system call, for it.
static_assert(std::is_trivially_destructible<std::mutex>::value, "must be usable after static destructors");
// protected by access:
FileIOObject *pooled[kMostPooled];
int pooledCount = 0;

FileIOObject *takePooled()
{
    const std::unique_lock<std::mutex> lock(access, std::try_to_lock);
    return lock.owns_lock() && pooledCount > 0 ? pooled[--pooledCount] : nullptr;
}

bool tryToPool(FileIOObject *request)
{
    const std::unique_lock<std::mutex> lock(access, std::try_to_lock);
    if (!lock.owns_lock() || pooledCount == kMostPooled)
        return false;
    pooled[pooledCount++] = request;
    return true;
}

// A slot of the host may have done anything to it.
bool isUsedAsRequestOnly(const FileIOObject &request)
{
    return request.state == eIONONE && request.path.isEmpty() && !request.path.isNull()
        && request.myfile.fileName().isEmpty() && !request.myfile.isOpen() && request.parent() == nullptr
        && request.children().isEmpty() && !request.signalsBlocked() && request.objectName().isEmpty()
        && request.dynamicPropertyNames().isEmpty();
}

void giveBack(FileIOObject *request)
{
    if (request->contentList.size() != 1 || request->contentList.constFirst().capacity() > kLongestKeptLine)
        request->contentList.clear();
    if (!isUsedAsRequestOnly(*request) || !tryToPool(request))
        delete request;
}

} // namespace

FileIOObjectPointer RequestPool::take(const QString &line, unsigned long category)
{
    FileIOObject *request = takePooled();
    if (request == nullptr)
        request = new FileIOObject(nullptr);
    request->category = category;
    if (request->contentList.isEmpty())
        request->contentList.append(line);
    else
        request->contentList.first().setUnicode(line.constData(), line.size()); // Where the former line was.
    return FileIOObjectPointer(request, giveBack);
}
