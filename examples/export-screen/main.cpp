// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include <Brindlecast/QtDebugLogger.h>

#include <QGuiApplication>
#include <QQuickView>

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QtDebugLogger::getInstance()->setLogCategoryEnabled(true, 1);
    QtDebugLogger::getInstance()->enableOutputFile();
    QQuickView view(QUrl(QStringLiteral("qrc:/Main.qml")));
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.show();
    return QGuiApplication::exec();
}
