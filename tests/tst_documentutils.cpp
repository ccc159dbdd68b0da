// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "support/TestSupport.h"

#include <Brindlecast/DocumentUtils.h>

#include <QDebug>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <random>

namespace {

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
            "my $log|~/||cp -rf 'my $log' '~/'"_q,
            "it's;|there/||cp -rf \"it's;\" there/"_q,
            "it's $HOME|there/||cp -rf 'it'\\''s $HOME' there/"_q,
            "-a|there/||cp -rf -- '-a' there/"_q,
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
        // Nothing is said of what isn't there.
        QVERIFY(!m_utils.removeSpecifiedExtFilesInDir("/no/such/"_q, "log"_q));
        QVERIFY(!m_utils.removeSpecifiedExtFilesInDir("."_q, QString()));
        QCOMPARE(m_utils.findFirstFileWithSpecifiedExt("."_q, QString()), QString());
        QCOMPARE(Recorder::messages().size(), 2 * (3 * 2 + 1) + 5);
        QCOMPARE(fileContents(path("commands"_q)), QByteArray());
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

    void takesHostileNamesForNames()
    {
        // NOLINTNEXTLINE(misc-misleading-bidirectional): a name may hold such characters
        QStringList pieces = "$(touch PWNED) `touch PWNED` ;touch\tPWNED; |touch\tPWNED >PWNED &&rm\t-rf\t* "
                             "$HOME ${IFS} ~ * ? [a-z] {a,b} ' \" \\ $ ` ! # & ; ( ) < > | ^ = % - -- -rf --help "
                             ".a ..a , a: @ + B 7 canary.log \n \r \t \x01 \x1b[2J \x7f \u00a0 ä ж 中 \u0301 "
                             "\u2028 \u202e \U0001f4a5"_q.split(" "_q);
        std::shuffle(pieces.begin(), pieces.end(), std::mt19937(std::random_device{}()));
        const Recorder recorder;
        for (int i = 0; i < 2 * pieces.size(); ++i) {
            const QString name = pieces.mid(i / 2, i % 2 == 0 ? 1 : 3).join(" "_q);
            const QString from = "f"_q + name;
            const QString to = name + "t/"_q; // is made by the command
            const QString ext = "x"_q + QString(name).remove(QRegularExpression("[*?[]"_q));
            const QString byExtension = to + "a."_q + ext;
            QVERIFY(write(from, name));
            QVERIFY2(m_utils.copyFileOrDir(from, to, name) == 1, qPrintable(name));
            QCOMPARE(QString::fromUtf8(fileContents(to + name)), name);
            QVERIFY(makeFile(byExtension));
            QCOMPARE(m_utils.findFirstFileWithSpecifiedExt(to, ext), byExtension);
            QVERIFY2(!m_utils.removeSpecifiedExtFilesInDir(to, ext), qPrintable(name));
            QCOMPARE(QDir(to).entryList(kEverything), QStringList(name));
            QVERIFY(QFile::remove(from) && QDir(to).removeRecursively());
            QCOMPARE(QDir().entryList(kEverything), QStringList("canary.log"_q));
        }
    }
};

QTEST_GUILESS_MAIN(tst_DocumentUtils)

#include "tst_documentutils.moc"
