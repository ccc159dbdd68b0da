// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import Brindlecast 1.0

// Shows whether logs are written, and switches that on and off.
Pressable {
    id: control

    required property LogExport logExport

    readonly property bool on: logExport.logging

    leftPadding: Theme.gap
    rightPadding: Theme.gap
    text: on ? qsTr("Logging on") : qsTr("Logging off")
    Accessible.role: Accessible.CheckBox
    Accessible.checkable: true
    Accessible.checked: on
    onClicked: logExport.logging = !on

    contentItem: Item {
        implicitWidth: word.implicitWidth + Theme.gap + track.width
        implicitHeight: Math.max(word.implicitHeight, track.height)

        Label {
            id: word

            objectName: "loggingText"
            anchors { left: parent.left; right: track.left; rightMargin: Theme.gap; verticalCenter: parent.verticalCenter }
            text: control.text
            color: Theme.quietText
            elide: Text.ElideRight
            Accessible.ignored: true
        }
        Rectangle {
            id: track

            anchors { right: parent.right; verticalCenter: parent.verticalCenter }
            width: height * 1.75
            height: Theme.compact ? 24 : 30
            radius: height / 2
            color: control.on ? Theme.good : Theme.disabled

            Rectangle {
                readonly property real inset: 3
                readonly property bool atRight: control.on !== control.mirrored

                x: atRight ? parent.width - width - inset : inset
                anchors.verticalCenter: parent.verticalCenter
                width: height
                height: parent.height - 2 * inset
                radius: height / 2
                color: Theme.card

                Behavior on x { NumberAnimation { duration: 120 } }
            }
        }
    }
}
