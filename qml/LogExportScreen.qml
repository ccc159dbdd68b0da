// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import Brindlecast 1.0

// The whole screen, laid out for 800x480. `screen` is a LogExport.
Rectangle {
    id: root

    property alias destination: backEnd.destination
    property alias logFolder: backEnd.logFolder
    readonly property var screen: LogExport { id: backEnd }

    implicitWidth: 800
    implicitHeight: 480
    color: Theme.background

    Rectangle {
        id: header

        anchors { left: parent.left; right: parent.right; top: parent.top }
        height: 60
        color: Theme.header

        Text {
            anchors { left: parent.left; leftMargin: 20; verticalCenter: parent.verticalCenter }
            text: qsTr("Log export")
            font.pixelSize: Theme.titleText
            font.weight: Font.Medium
            color: "white"
        }
        LoggingSwitch {
            objectName: "loggingSwitch"
            anchors { right: parent.right; rightMargin: 8; verticalCenter: parent.verticalCenter }
            on: root.screen.logs.logOutputEnabled
            onClicked: root.screen.toggleLogging()
        }
    }

    RowLayout {
        anchors {
            left: parent.left
            right: parent.right
            top: header.bottom
            bottom: parent.bottom
            margins: Theme.gap
        }
        spacing: Theme.gap

        LogList {
            Layout.fillWidth: true
            Layout.fillHeight: true
            screen: root.screen
            // What is being copied was chosen before.
            enabled: root.screen.job.state === ExportJob.Idle
            opacity: enabled ? 1 : 0.55
        }
        ExportPanel {
            Layout.preferredWidth: 276
            Layout.fillHeight: true
            screen: root.screen
        }
    }
}
