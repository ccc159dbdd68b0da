// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Saves a picture of the screen, with some logs selected, for the documentation.
//
// usage: export-screen-picture <log folder> <picture.png> [destination]

#include "LogScreen.h"
#include "ScreenTypes.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QQuickView>
#include <QSharedPointer>
#include <QTimer>

#include <chrono>

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    setUpScreen();
    const QStringList arguments = QGuiApplication::arguments();

    LogScreen screen;
    screen.setLogFolder(arguments.value(1));
    screen.setDestination(arguments.value(3));

    QQuickView view;
    view.setInitialProperties({{QStringLiteral("screen"), QVariant::fromValue(&screen)}});
    view.setSource(QUrl(QStringLiteral("qrc:/export-screen/ExportScreen.qml")));
    view.show();

    QTimer::singleShot(std::chrono::seconds(1), &screen, [&screen] {
        for (const int row : {0, 1, 3})
            screen.toggle(row);
    });
    bool saved = false;
    QSharedPointer<QQuickItemGrabResult> picture;
    QTimer::singleShot(std::chrono::seconds(2), &screen, [&] {
        // The offscreen platform can't grab a window, but items.
        picture = view.rootObject()->grabToImage();
        QObject::connect(picture.data(), &QQuickItemGrabResult::ready, &view, [&] {
            saved = picture->image().save(arguments.value(2));
            QGuiApplication::quit();
        });
    });
    QGuiApplication::exec();
    return saved ? 0 : 1;
}
