// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "DocumentUtils.h"

#include "FileOrder_p.h"
#include "MessageSite_p.h"

#include <QByteArray>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cstdlib>

#include <sys/wait.h>

namespace {

// Published line numbers, unrelated to this file's lines.
constexpr const char *kCopyFileOrDir
    = "int DocumentUtils::copyFileOrDir(const QString&, const QString&, const QString&)";
constexpr MessageSite kCopyEntered = {__FILE__, 12, kCopyFileOrDir};
constexpr MessageSite kCopyWithoutSource = {__FILE__, 14, kCopyFileOrDir};
constexpr MessageSite kCopyRefused = {__FILE__, 20, kCopyFileOrDir};
constexpr MessageSite kCopyCommand = {__FILE__, 37, kCopyFileOrDir};
constexpr MessageSite kCopyFailed = {__FILE__, 43, kCopyFileOrDir};
constexpr MessageSite kCopyStatus = {__FILE__, 44, kCopyFileOrDir};
constexpr MessageSite kRemovalRefused
    = {__FILE__, 52, "bool DocumentUtils::removeSpecifiedExtFilesInDir(const QString&, const QString&)"};

constexpr const char *kRefused = "text not fit for a command:";

bool isAscii(QChar character)
{
    return character.unicode() < 0x80;
}

// Whether the shell takes the character literally, wherever it stands.
bool isClean(QChar character)
{
    return character.isLetterOrNumber() || QLatin1String("._-/+@,:%=").contains(character);
}

bool isClean(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar character) { return isClean(character); });
}

// Whether the command reads the same to the shell, which sees bytes, as it does here. A multi-byte encoding whose
// characters hold bytes that mean something to the shell doesn't qualify.
bool isCarriedByEncoding(const QString &argument)
{
    const QString text = QLatin1Char('/') + argument; // From the head of a text a decoder takes a byte-order mark away.
    const QByteArray bytes = text.toLocal8Bit();
    if (text.contains(QChar(QChar::Null)) || QString::fromLocal8Bit(bytes) != text)
        return false;
    QByteArray asciiBytes;
    std::copy_if(bytes.cbegin(), bytes.cend(), std::back_inserter(asciiBytes),
                 [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
    QString asciiText;
    std::copy_if(text.cbegin(), text.cend(), std::back_inserter(asciiText), isAscii);
    return asciiText == QLatin1String(asciiBytes);
}

bool isSuffix(const QString &ext)
{
    const auto isMore = [](QChar character) { return QLatin1String("/*?[").contains(character); };
    return !ext.isEmpty() && std::none_of(ext.cbegin(), ext.cend(), isMore);
}

QString singleQuoted(QString text)
{
    text.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}

QString asWord(const QString &text)
{
    return isClean(text) ? text : singleQuoted(text);
}

QString asSourceWord(const QString &from)
{
    const auto isSpecialInDoubleQuotes = [](QChar character) { return QLatin1String("$`\\\"").contains(character); };
    if (from.contains(QLatin1Char('\'')) && std::none_of(from.cbegin(), from.cend(), isSpecialInDoubleQuotes))
        return QLatin1Char('"') + from + QLatin1Char('"');
    return singleQuoted(from);
}

// Ends the options where one of the operands looks like one.
QString endOfOptions(const QString &operand, const QString &otherOperand = {})
{
    const QLatin1Char dash('-');
    return operand.startsWith(dash) || otherOperand.startsWith(dash) ? QStringLiteral("-- ") : QString();
}

int run(const QString &command)
{
    return std::system(command.toLocal8Bit().constData());
}

} // namespace

DocumentUtils::DocumentUtils(QObject *parent)
    : QObject(parent)
{
}

int DocumentUtils::copyFileOrDir(const QString &from, const QString &toDir, const QString &toName)
{
    kCopyEntered.debug() << "in copyFileToFtp():" << from;
    if (from.isEmpty()) {
        kCopyWithoutSource.debug() << "no source file exist to copy" << from;
        return 0;
    }
    if (!isCarriedByEncoding(from) || !isCarriedByEncoding(toDir) || !isCarriedByEncoding(toName)) {
        kCopyRefused.debug() << kRefused << from << toDir << toName;
        return 0;
    }

    if (!QDir(toDir).exists())
        run(QStringLiteral("mkdir ") + endOfOptions(toDir) + asWord(toDir));

    const QString to = toDir + toName;
    const QString command
        = QStringLiteral("cp -rf ") + endOfOptions(from, to) + asSourceWord(from) + QLatin1Char(' ') + asWord(to);
    kCopyCommand.debug() << command;
    const int status = run(command);
    if (status != 0) {
        kCopyFailed.debug() << "Illegal character in filename";
        kCopyStatus.debug() << "system return:" << status << WEXITSTATUS(status);
        return 0;
    }
    return 1;
}

bool DocumentUtils::removeSpecifiedExtFilesInDir(const QString &dir, const QString &ext)
{
    if (ext.isEmpty())
        return false;
    if (!isCarriedByEncoding(dir) || !isCarriedByEncoding(ext) || !isSuffix(ext)) {
        kRemovalRefused.debug() << kRefused << dir << ext;
        return false;
    }
    if (!QFileInfo::exists(dir))
        return false;
    return run(QStringLiteral("rm -rf ") + endOfOptions(dir) + asWord(dir) + QStringLiteral("*.") + asWord(ext)) != 0;
}

QString DocumentUtils::findFirstFileWithSpecifiedExt(const QString &dir, const QString &ext)
{
    if (!isCarriedByEncoding(dir) || !isSuffix(ext) || !QFileInfo::exists(dir))
        return {};
    return newestFile(filesInOrder(QDir(dir), {QLatin1Char('.') + ext}, QDir::Unsorted)).filePath();
}
