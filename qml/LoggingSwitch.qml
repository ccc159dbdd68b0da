// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Controls 2.15

// Shows the logging state and asks to change it; it never changes by itself.
AbstractButton {
    id: control

    property bool on: false

    implicitWidth: content.implicitWidth + 2 * Theme.gap
    implicitHeight: Theme.touchSize
    Accessible.role: Accessible.CheckBox
    Accessible.name: qsTr("Logging")
    Accessible.checked: on

    contentItem: Item {
        Row {
            id: content

            anchors.centerIn: parent
            spacing: Theme.gap

            Text {
                objectName: "loggingText"
                anchors.verticalCenter: parent.verticalCenter
                text: control.on ? qsTr("Logging on") : qsTr("Logging off")
                font.pixelSize: Theme.bodyText
                color: "white"
            }
            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                width: 56
                height: 32
                radius: 16
                color: control.on ? "#2fae6e" : "#52677a"

                Rectangle {
                    x: control.on ? parent.width - width - 4 : 4
                    anchors.verticalCenter: parent.verticalCenter
                    width: 24
                    height: 24
                    radius: 12
                    color: "white"

                    Behavior on x { NumberAnimation { duration: 120 } }
                }
            }
        }
    }
}
