// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include <Brindlecast/QtDebugLogger.h>

#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QtDebugLogger::getInstance()->setLogCategoryEnabled(true, 1);
    QtDebugLogger::getInstance()->enableOutputFile();
    QQmlApplicationEngine engine(QUrl(QStringLiteral("qrc:/Main.qml")));
    return engine.rootObjects().isEmpty() ? 1 : QGuiApplication::exec();
}
