// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// The log-export screen of a device with a touch display of 800x480.
//
// usage: export-screen [--logs <folder>] [--fullscreen] [destination]

#include "LogScreen.h"
#include "ScreenTypes.h"

#include <Brindlecast/QtDebugLogger.h>

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QTimer>
#include <QWindow>

#include <chrono>

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("export-screen"));
    setUpScreen();

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Copies the device's log files to a memory stick."));
    parser.addHelpOption();
    const QCommandLineOption logs(QStringLiteral("logs"),
                                  QStringLiteral("Folder to list (default: the log directory)."),
                                  QStringLiteral("folder"));
    const QCommandLineOption fullScreen(QStringLiteral("fullscreen"), QStringLiteral("Fill the display."));
    parser.addOptions({logs, fullScreen});
    parser.addPositionalArgument(
        QStringLiteral("destination"),
        QStringLiteral("Folder to copy to (default: the first volume mounted below /media or /run/media)."),
        QStringLiteral("[destination]"));
    parser.process(application);

    QtDebugLogger *const logger = QtDebugLogger::getInstance();
    logger->setLogCategoryEnabled(true, 1);
    logger->enableOutputFile();

    LogScreen screen;
    if (parser.isSet(logs))
        screen.setLogFolder(QDir(parser.value(logs)).absolutePath());
    screen.setDestination(parser.positionalArguments().value(0));

    QQmlApplicationEngine engine;
    engine.setInitialProperties({{QStringLiteral("logScreen"), QVariant::fromValue(&screen)}});
    engine.load(QUrl(QStringLiteral("qrc:/export-screen/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    if (parser.isSet(fullScreen))
        qobject_cast<QWindow *>(engine.rootObjects().constFirst())->showFullScreen();

    // A device's log is never silent; this one tells how busy the machine is.
    QTimer heartbeat;
    QObject::connect(&heartbeat, &QTimer::timeout, &screen, [] {
        QFile load(QStringLiteral("/proc/loadavg"));
        if (load.open(QIODevice::ReadOnly))
            qInfo() << "Load of the machine:" << load.readAll().trimmed().constData();
    });
    heartbeat.start(std::chrono::seconds(2));

    return QGuiApplication::exec();
}
