// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// A host built against the installed package: ends with status 0 if its own line, with file and line number, is in the
// newest log file of the folder that it is given.

#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    qWarning() << "consumer" << QCoreApplication::applicationPid();
    const int line = __LINE__ - 1;
    const bool isFlushed = logger->flush(5000);

    const QFileInfoList logs = QDir(app.arguments().value(1)).entryInfoList({QStringLiteral("*.log")}, QDir::Files);
    QFile newest(logs.isEmpty() ? QString() : logs.last().filePath());
    const QString expected
        = QStringLiteral(" <Warning:> main.cpp %1: consumer %2\n").arg(line).arg(QCoreApplication::applicationPid());
    return isFlushed && newest.open(QIODevice::ReadOnly) && newest.readAll().contains(expected.toUtf8()) ? 0 : 1;
}
