// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "ScreenTypes.h"

#include "LogScreen.h"

#include <QFont>
#include <QGuiApplication>
#include <QQuickStyle>
#include <qqml.h>

void setUpScreen()
{
    constexpr const char *module = "Brindlecast.ExportScreen";
    qmlRegisterType<LogScreen>(module, 1, 0, "LogScreen");
    qmlRegisterUncreatableType<ExportJob>(module, 1, 0, "ExportJob", QStringLiteral("LogScreen.job"));
    qmlRegisterAnonymousType<ExportLogViewModel>(module, 1);
    qmlRegisterAnonymousType<CommonListViewModel>(module, 1);

    // The screen draws its own controls; a style chosen by the environment would only change their sizes.
    QQuickStyle::setStyle(QStringLiteral("Default"));
    QGuiApplication::setFont(QFont(QStringLiteral("Roboto")));
}
