// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogLine_p.h"

#include <QDateTime>

#include <cstring>

namespace {

constexpr char DEFAULT_LOG_FORMAT[] = "[<TIM>] <<TS>> <FILE> <LINE>: <TEXT>\n";

constexpr int kTimeLength = 19;

// The text of the second in which this thread raised its last line: making it anew costs as much as all the rest of a
// line. Trivially destructible, since lines are raised by static destructors too, after the thread's other objects.
struct TimeText
{
    qint64 second;
    ushort text[kTimeLength];
};
thread_local TimeText lastTime = {-1, {}};

void appendCurrentTime(QString &line)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (now / 1000 != lastTime.second) {
        const QString text = QDateTime::fromMSecsSinceEpoch(now).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        if (text.size() != kTimeLength) {
            line += text; // A year beyond 9999.
            return;
        }
        std::memcpy(lastTime.text, text.utf16(), sizeof lastTime.text);
        lastTime.second = now / 1000;
    }
    line.append(reinterpret_cast<const QChar *>(lastTime.text), kTimeLength);
}

QLatin1String label(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QLatin1String("Debug:");
    case QtWarningMsg:
        return QLatin1String("Warning:");
    case QtCriticalMsg:
        return QLatin1String("Critical:");
    case QtFatalMsg:
        return QLatin1String("Fatal:");
    default:
        return QLatin1String("Other:");
    }
}

QString baseName(const char *path)
{
    if (path == nullptr)
        return {};
    const char *const lastSlash = std::strrchr(path, '/');
    return QString::fromUtf8(lastSlash == nullptr ? path : lastSlash + 1);
}

// Steps over `placeholder` if it stands at `at`.
template <std::size_t Size> bool take(const char *&at, const char (&placeholder)[Size])
{
    if (std::strncmp(at, placeholder, Size - 1) != 0)
        return false;
    at += Size - 1;
    return true;
}

} // namespace

void LogLine::prepare()
{
    QString line;
    appendCurrentTime(line);
}

QString LogLine::make(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    const QString number = QString::number(context.line);
    const QString text = msg.isEmpty() ? QStringLiteral("-") : msg.trimmed();
    QString file = baseName(context.file);
    // Line and text are filled in after the file, so a file name that holds their placeholders gets them, too.
    if (file.contains(QLatin1Char('<'))) {
        file.replace(QLatin1String("<LINE>"), number);
        file.replace(QLatin1String("<TEXT>"), text);
    }

    QString line;
    line.reserve(static_cast<int>(sizeof DEFAULT_LOG_FORMAT) + kTimeLength + file.size() + text.size());
    const char *at = DEFAULT_LOG_FORMAT;
    while (*at != '\0') {
        if (take(at, "<TIM>"))
            appendCurrentTime(line);
        else if (take(at, "<TS>"))
            line += label(type);
        else if (take(at, "<FILE>"))
            line += file;
        else if (take(at, "<LINE>"))
            line += number;
        else if (take(at, "<TEXT>"))
            line += text;
        else
            line += QLatin1Char(*at++);
    }
    return line;
}
