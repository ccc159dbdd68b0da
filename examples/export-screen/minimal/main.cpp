// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include <Brindlecast/ExportLogViewModel.h>

#include <QGuiApplication>
#include <QQmlContext>
#include <QQuickView>

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    ExportLogViewModel logs(nullptr);
    QQuickView view;
    view.rootContext()->setContextProperty(QStringLiteral("logs"), &logs);
    view.rootContext()->setContextProperty(QStringLiteral("files"), logs.fileListViewModel().data());
    view.setSource(QUrl(QStringLiteral("qrc:/LogList.qml")));
    logs.setCurrentFolder(logs.currentFolderPath());
    logs.setSelected(0);
    view.show();
    return QGuiApplication::exec();
}
