// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "LogLine_p.h"

#include "LocalTime_p.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <string_view>

namespace {

// The form of every line. fill() adds a second line feed, which makes the empty line after it.
constexpr std::u16string_view DEFAULT_LOG_FORMAT = u"[<TIM>] <<TS>> <FILE> <LINE>: <TEXT>\n";

constexpr int kLongestTime = 32;

// The time of this thread's last line, as text: formatting it costs more than all the rest of a line. Trivially
// destructible, because static destructors raise messages too, when the thread's other objects are gone.
struct TimeText
{
    std::time_t second;
    int length;
    ushort text[kLongestTime];
};
thread_local TimeText lastTime = {-1, 0, {}};

QStringView currentTime()
{
    TimeText &last = lastTime;
    const std::time_t now = currentSecond();
    if (now != last.second) {
        char text[kLongestTime];
        last.length = static_cast<int>(formatLocalTime(text, "%Y-%m-%d %H:%M:%S", now));
        std::copy_n(text, last.length, last.text);
        last.second = now;
    }
    return {last.text, last.length};
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

QLatin1String baseName(const char *path)
{
    if (path == nullptr)
        return {};
    const char *const lastSlash = std::strrchr(path, '/');
    return QLatin1String(lastSlash == nullptr ? path : lastSlash + 1);
}

// Whether the bytes can be used as they are: ASCII only, and nothing that could begin a placeholder.
bool isPlain(QLatin1String name)
{
    return std::all_of(name.begin(), name.end(), [](char c) { return c != '<' && static_cast<uchar>(c) < 0x80; });
}

/** The values that go into one line. */
struct Fields
{
    QStringView time;
    QLatin1String label;
    QLatin1String plainFile;
    QStringView decodedFile; // Used instead of plainFile when that is not plain.
    QLatin1String number;
    QStringView text;

    qsizetype size() const
    {
        return time.size() + label.size() + plainFile.size() + decodedFile.size() + number.size() + text.size();
    }
};

// The part of the format between two placeholders. An empty placeholder stands for the begin or the end of the format.
constexpr std::u16string_view between(std::u16string_view before, std::u16string_view after)
{
    const std::size_t begin = before.empty() ? 0 : DEFAULT_LOG_FORMAT.find(before) + before.size();
    return DEFAULT_LOG_FORMAT.substr(begin, after.empty() ? after.npos : DEFAULT_LOG_FORMAT.find(after) - begin);
}

constexpr std::u16string_view kBeforeTime = between({}, u"<TIM>");
constexpr std::u16string_view kBeforeLabel = between(u"<TIM>", u"<TS>");
constexpr std::u16string_view kBeforeFile = between(u"<TS>", u"<FILE>");
constexpr std::u16string_view kBeforeNumber = between(u"<FILE>", u"<LINE>");
constexpr std::u16string_view kBeforeText = between(u"<LINE>", u"<TEXT>");
constexpr std::u16string_view kAtEnd = between(u"<TEXT>", {});

ushort *put(ushort *to, QStringView text)
{
    return std::copy_n(reinterpret_cast<const ushort *>(text.utf16()), text.size(), to);
}

ushort *put(ushort *to, QLatin1String text)
{
    return std::transform(text.begin(), text.end(), to, [](char c) { return static_cast<uchar>(c); });
}

ushort *put(ushort *to, std::u16string_view text)
{
    return std::copy(text.begin(), text.end(), to);
}

ushort *fill(ushort *to, const Fields &fields)
{
    to = put(put(to, kBeforeTime), fields.time);
    to = put(put(to, kBeforeLabel), fields.label);
    to = put(put(put(to, kBeforeFile), fields.plainFile), fields.decodedFile);
    to = put(put(to, kBeforeNumber), fields.number);
    to = put(put(put(to, kBeforeText), fields.text), kAtEnd);
    *to++ = '\n';
    return to;
}

} // namespace

LogLine::LogLine(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    char digits[16];
    const char *const digitsEnd = std::to_chars(digits, digits + sizeof digits, context.line).ptr;
    const QLatin1String number(digits, static_cast<int>(digitsEnd - digits));
    const QStringView text = msg.isEmpty() ? QStringView(u"-") : QStringView(msg).trimmed();

    QLatin1String file = baseName(context.file);
    QString decoded;
    if (!isPlain(file)) {
        // The placeholders of line and text are replaced in the file name, too. The whole path is decoded, because
        // fromUtf8() would drop a byte-order mark at the beginning of the name alone.
        decoded = QString::fromUtf8(context.file).section(QLatin1Char('/'), -1);
        decoded.replace(QLatin1String("<LINE>"), number);
        decoded.replace(QLatin1String("<TEXT>"), text.toString());
        file = QLatin1String();
    }
    const Fields fields = {currentTime(), label(type), file, decoded, number, text};
    m_text.resize(static_cast<int>(DEFAULT_LOG_FORMAT.size() + static_cast<std::size_t>(fields.size())));
    m_text.resize(static_cast<int>(fill(m_text.data(), fields) - m_text.data()));
}
