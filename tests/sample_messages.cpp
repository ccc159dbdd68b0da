// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Logs the same messages on every machine, so that the files of two builds can be compared byte for byte (time stamps
// aside): every type, odd contexts, odd texts, and numbers at the limits of 32 and 64 bits.

#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QRect>

#include <limits>

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 127);
    logger->enableOutputFile();

    const QString texts[] = {QString(),
                             QStringLiteral("  \t "),
                             QStringLiteral("two\nlines\r\n"),
                             QStringLiteral("<TIM> <TS> <FILE> <LINE> <TEXT> %1"),
                             QStringLiteral("Größe 質量 🚀"),
                             QString(QChar(0xd83d)) + QChar(0),
                             QString(70000, QLatin1Char('x'))};
    const char *const files[] = {nullptr, "", "main.cpp", "/a/b/", "../src/<LINE>.cpp"};
    const int lines[] = {std::numeric_limits<int>::min(), 0, std::numeric_limits<int>::max()};
    for (const QString &text : texts) {
        for (const char *file : files) {
            for (const int line : lines) {
                const QMessageLogger site(file, line, "sample");
                site.debug().noquote() << text;
                site.info() << text;
                site.warning() << text;
                site.critical() << text;
            }
        }
        logger->debug(text);
        logger->critical(text);
    }
    qDebug() << std::numeric_limits<qint64>::min() << std::numeric_limits<quint64>::max() << 0.1 << 1e300 << true
             << QRect(-1, -1, 1 << 30, 1) << QDateTime::fromSecsSinceEpoch(4294967296, Qt::UTC);
    return logger->flush(60000) ? 0 : 1;
}
