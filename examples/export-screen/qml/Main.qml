// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Window 2.15

Window {
    id: window

    required property var logScreen

    width: 800
    height: 480
    visible: true
    title: qsTr("Log export")

    ExportScreen {
        anchors.fill: parent
        screen: window.logScreen
    }
}
