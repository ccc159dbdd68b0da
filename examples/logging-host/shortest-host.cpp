// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>
#include <QDebug>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QtDebugLogger *logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();
    qWarning() << "disk low:" << 12 << "MB";
}
