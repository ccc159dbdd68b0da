// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/DocumentUtils.h>

#include <QDebug>
#include <QTemporaryDir>
#include <QTest>
#if QT_VERSION_MAJOR == 5
#include <QTextCodec>
#endif

#include <random>

namespace {

constexpr int kHostileNames = 10000;
constexpr int kNamesPerPath = 40;
constexpr auto kEverything = QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System;

bool write(const QString &path, const QString &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) == text.toUtf8().size();
}

QString quoted(const QString &text)
{
    QString result;
    QDebug(&result).nospace() << text;
    return result;
}

// A file name of one to `length` pieces that all mean something to a shell, or to nobody.
QString hostileName(std::mt19937 &random, std::size_t length)
{
    // NOLINTNEXTLINE(misc-misleading-bidirectional): a name may hold such characters
    static const QStringList pieces = "$(touch PWNED) `touch PWNED` ;touch\tPWNED; |touch\tPWNED >PWNED &&rm\t-rf\t* "
                                      "$HOME ${IFS} ~ * ? [a-z] {a,b} "
                                      "' \" \\ $ ` ! # & ; ( ) < > | ^ = % - -- -rf --help . .. , : @ + a B 7 .log "
                                      "canary.log \n \r \t \x01 \x1b[2J "
                                      "\x7f \u00a0 ä ж 中 \u0301 \u202e \U0001f4a5"_q.split(" "_q);
    QString name;
    for (std::size_t i = 1 + random() % length; i > 0; --i)
        name += random() % 8 == 0 ? " "_q
                                  : pieces.at(static_cast<int>(random() % static_cast<std::size_t>(pieces.size())));
    const bool isSpecial = name == "."_q || name == ".."_q || name.startsWith(":"_q); // a resource, to Qt
    return isSpecial ? "x"_q + name : name;
}

} // namespace

class tst_DocumentUtils : public QObject
{
    Q_OBJECT

    DocumentUtils m_utils{nullptr};
    QScopedPointer<QTemporaryDir> m_folder;

    QString path(const QString &name) const { return m_folder->filePath(name); }

    // Puts commands first in the search path that note their arguments and fail if told so.
    bool fakeCommands(int exitStatus)
    {
        const QString script = "#!/bin/sh\n{ printf '[%s]' ${0##*/} \"$@\"; echo; } >> '%1'\nexit %2\n"_q;
        qputenv("PATH", QFile::encodeName(path("bin:"_q)) + m_searchPath);
        bool isMade = QDir().mkpath(path("bin"_q)) && write(path("commands"_q), QString());
        for (const QString &command : {path("bin/cp"_q), path("bin/mkdir"_q), path("bin/rm"_q)})
            isMade = isMade && write(command, script.arg(path("commands"_q)).arg(exitStatus))
                && QFile::setPermissions(command, QFile::ReadOwner | QFile::ExeOwner);
        return isMade;
    }

    // Whether all three operations meant the files of these names and no others; if not, where not.
    QString copyFindAndRemove(const QString &from, const QString &toDir, const QString &toName, const QString &ext)
    {
        const QString byExtension = toDir + "x."_q + ext;
        if (!write(from, toName) || m_utils.copyFileOrDir(from, toDir, toName) != 1 || !makeFile(byExtension))
            return "not copied"_q;
        if (m_utils.removeSpecifiedExtFilesInDir(toDir, "none"_q) || !QFile::exists(byExtension))
            return "removed another"_q;
        const QByteArray copy = fileContents(toDir + toName);
        const bool isFound = m_utils.findFirstFileWithSpecifiedExt(toDir, ext).startsWith(toDir);
        if (m_utils.removeSpecifiedExtFilesInDir(toDir, ext) || QFile::exists(byExtension) == isFound)
            return isFound ? "not removed"_q : "not found"_q;
        const bool isLeft = fileContents(toDir + toName) == copy || (isFound && toName.endsWith("."_q + ext));
        return copy != toName.toUtf8() ? "miscopied"_q : isLeft ? QString() : "removed the copy"_q;
    }

    const QByteArray m_searchPath = qgetenv("PATH");

private Q_SLOTS:
    // Tests work in a directory of their own, with a canary that a command gone astray would meet first.
    void init()
    {
        m_folder.reset(new QTemporaryDir);
        QVERIFY(QDir(m_folder->path()).mkdir("cwd"_q) && QDir::setCurrent(path("cwd"_q)));
        QVERIFY(write("canary.log"_q, "alive"_q));
    }

    void cleanup()
    {
        qputenv("PATH", m_searchPath);
        QVERIFY(QDir::setCurrent(QDir::rootPath()));
        QCOMPARE(fileContents(path("cwd/canary.log"_q)), QByteArray("alive"));
        QCOMPARE(QDir(path("cwd"_q)).entryList(kEverything), QStringList("canary.log"_q));
    }

    void runsTheseCommands()
    {
        QVERIFY(QDir().mkdir("there"_q));
        const QString site = "0 Brindlecast/DocumentUtils.cpp:%1 "
                             "int DocumentUtils::copyFileOrDir(const QString&, const QString&, const QString&): "_q;
        // From, to folder and name, and the command; "there" exists.
        const QStringList cases = {
            "/l/a.log|/no/日志/||cp -rf '/l/a.log' /no/日志/"_q,
            "aZ09._-/+@,:%=|there/|zA90._-/+@,:%=|cp -rf 'aZ09._-/+@,:%=' there/zA90._-/+@,:%="_q,
            "a|there|b|cp -rf 'a' thereb"_q,
            "a|||cp -rf 'a' "_q,
            "my $log|there/||cp -rf 'my $log' there/"_q,
            "it's;|there/||cp -rf \"it's;\" there/"_q,
            "it's $HOME|there/||cp -rf 'it'\\''s $HOME' there/"_q,
            "-a|-p/|-b|cp -rf -- '-a' -p/-b"_q,
            "a|~/x y/|\ufeffit's*|cp -rf 'a' '~/x y/\ufeffit'\\''s*'"_q,
        };
        for (const QString &row : cases) {
            const QStringList part = row.split("|"_q);
            const auto [from, toDir, toName] = std::make_tuple(part[0], part[1], part[2]);
            const QString dashes = from.startsWith("-"_q) ? "[--]"_q : QString();
            const QString mkdir = QDir(toDir).exists() ? QString() : "[mkdir]"_q + dashes + "[%1]\n"_q.arg(toDir);
            const QString cp = "[cp][-rf]"_q + dashes + "[%1][%2]\n"_q.arg(from, toDir + toName).remove("[]"_q);
            QStringList messages
                = {site.arg(12) + "in copyFileToFtp(): "_q + quoted(from), site.arg(37) + quoted(part[3])};
            for (const int status : {0, 3}) {
                QVERIFY(fakeCommands(status));
                const Recorder recorder;
                QCOMPARE(m_utils.copyFileOrDir(from, toDir, toName), status == 0 ? 1 : 0);
                QCOMPARE(fileContents(path("commands"_q)), (mkdir + cp).toUtf8());
                if (status != 0)
                    messages
                        += {site.arg(43) + "Illegal character in filename"_q, site.arg(44) + "system return: 768 3"_q};
                QCOMPARE(Recorder::messages(), messages);
            }
        }
        const Recorder recorder;
        QCOMPARE(m_utils.copyFileOrDir(QString(), "/no/usb/"_q, QString()), 0);
        QCOMPARE(Recorder::messages().value(1), site.arg(14) + "no source file exist to copy \"\""_q);
        QVERIFY(m_utils.removeSpecifiedExtFilesInDir(path(QString()), "log"_q)); // true says that the command failed
        QVERIFY(QDir().rename("there"_q, "-x y"_q));
        QVERIFY(m_utils.removeSpecifiedExtFilesInDir("-x y/"_q, "журнал"_q) && QDir().rmdir("-x y"_q));
        const QString removals = "]\n[rm][-rf][%1*.log]\n[rm][-rf][--][-x y/*.журнал]\n"_q.arg(path(QString()));
        QVERIFY(fileContents(path("commands"_q)).endsWith(removals.toUtf8()));
    }

    void refusesWhatNoCommandCanSay()
    {
        QVERIFY(fakeCommands(3));
        const Recorder recorder;
        for (const QString &text : {"/tmp/a\0b"_q, "/tmp/"_q + QChar(0xd800)}) {
            QCOMPARE(m_utils.copyFileOrDir(text, "/"_q, "b"_q), 0);
            QCOMPARE(m_utils.copyFileOrDir("a"_q, text, "b"_q), 0);
            QCOMPARE(m_utils.copyFileOrDir("a"_q, "/"_q, text), 0);
            QVERIFY(!m_utils.removeSpecifiedExtFilesInDir(text, "log"_q));
            QCOMPARE(m_utils.findFirstFileWithSpecifiedExt(text, "log"_q), QString());
        }
        const QString patterns = "/*?[\0"_q;
        for (const QChar character : patterns) {
            QVERIFY(!m_utils.removeSpecifiedExtFilesInDir("."_q, "l"_q + character));
            QCOMPARE(m_utils.findFirstFileWithSpecifiedExt("."_q, "lo"_q + character), QString());
        }
        int refused = 2 * (3 * 2 + 1) + 5;
#if QT_VERSION_MAJOR == 5 // From then on, names are in UTF-8.
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("Shift_JIS"));
        QCOMPARE(m_utils.copyFileOrDir("\u30bd"_q, "/"_q, "b"_q), 0); // one of its bytes is that of a backslash
        QTextCodec::setCodecForLocale(nullptr);
        refused += 2;
#endif
        // Nothing is said of what isn't there.
        QVERIFY(!m_utils.removeSpecifiedExtFilesInDir("/no/such/"_q, "log"_q));
        QVERIFY(!m_utils.removeSpecifiedExtFilesInDir("."_q, QString()));
        QCOMPARE(m_utils.findFirstFileWithSpecifiedExt("."_q, QString()), QString());
        QCOMPARE(Recorder::messages().size(), refused);
        QCOMPARE(fileContents(path("commands"_q)), QByteArray());
    }

    void takesAnyExtension()
    {
        const Recorder recorder;
        const QStringList extensions = {"log~"_q, "log old"_q, "log (1)"_q, "l]$(x);'\"\n\u2028"_q, "журнал"_q};
        const QString folder = m_folder->path() + "/"_q;
        for (const QString &ext : extensions) {
            QVERIFY(write(path("a."_q + ext), ext) && write(path("b.log"_q), "b"_q));
            QCOMPARE(m_utils.findFirstFileWithSpecifiedExt(folder, ext), path("a."_q + ext));
            QVERIFY(!m_utils.removeSpecifiedExtFilesInDir(folder, ext));
            QVERIFY(!QFile::exists(path("a."_q + ext)) && QFile::exists(path("b.log"_q)));
        }
        QCOMPARE(Recorder::messages(), QStringList());
    }

    void copiesRemovesAndFinds()
    {
        const RepeatedHour repeatedHour;
        const QStringList names = {"sub.log/deep/b"_q, ".hidden.log"_q, "a.logs"_q, "a.log"_q, "c.log"_q, "b.LOG"_q};
        for (const QString &name : names)
            QVERIFY(makeFile(path("from/"_q + name), 7, RepeatedHour::at(name == "a.log"_q ? -10 : 10)));
        QCOMPARE(m_utils.findFirstFileWithSpecifiedExt(path("from"_q), "log"_q), path("from/b.LOG"_q));
        QVERIFY(m_utils.findFirstFileWithSpecifiedExt(path("from"_q), "lo"_q).isEmpty());
        QVERIFY(m_utils.findFirstFileWithSpecifiedExt(path("from/a.log"_q), "log"_q).isEmpty());

        QCOMPARE(m_utils.copyFileOrDir(path("from"_q), path("to/"_q), QString()), 1);
        QCOMPARE(QFileInfo(path("to/from/sub.log/deep/b"_q)).size(), 7);
        QCOMPARE(m_utils.copyFileOrDir(path("from/a.log"_q), path("missing/parent/"_q), QString()), 0);
        QVERIFY(!QFile::exists(path("missing"_q)));
        QVERIFY(!m_utils.removeSpecifiedExtFilesInDir(path("to/from"_q), "log"_q)); // matches nothing
        QVERIFY(!m_utils.removeSpecifiedExtFilesInDir(path("to/from/"_q), "log"_q));
        QCOMPARE(QDir(path("to/from"_q)).entryList(kEverything).join(" "_q), ".hidden.log a.logs b.LOG"_q);
    }

    // Calls take turns with paths of many hostile names and with relative ones, of which some begin with a dash.
    void takesHostileNamesForNames()
    {
        const Recorder recorder;
        std::mt19937 random(std::random_device{}());
        int names = 0;
        for (int turn = 0; names < kHostileNames; ++turn) {
            const int depth = turn % 2 == 0 ? kNamesPerPath : 0;
            QString folders[2];
            for (QString &folder : folders) {
                for (int i = 0; i < depth; ++i)
                    folder += hostileName(random, 3) + "/"_q;
                folder.prepend(depth > 0 ? path("names/"_q) : QString());
                QVERIFY(folder.isEmpty() || QDir().mkpath(folder));
            }
            const QString from = folders[0] + hostileName(random, 3) + "f"_q;
            const QString to = folders[1] + hostileName(random, 3) + "t/"_q; // is made by the command
            const QString name = hostileName(random, 3);
            const QString ext = hostileName(random, 1);
            const QString asked = quoted(from) + quoted(to) + quoted(name) + quoted(ext);
            QCOMPARE(copyFindAndRemove(from, to, name, ext) + asked, asked);
            QVERIFY(QFile::remove(from) && QDir(to).removeRecursively() && QDir(path("names"_q)).removeRecursively());
            QCOMPARE(QDir().entryList(kEverything), QStringList("canary.log"_q));
            names += 2 * depth + 4;
        }
    }
};

QTEST_GUILESS_MAIN(tst_DocumentUtils)

#include "tst_documentutils.moc"
