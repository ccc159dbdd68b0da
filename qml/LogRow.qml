// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Controls 2.15

AbstractButton {
    id: row

    required property string name
    required property bool marked
    required property string size
    required property string date

    implicitHeight: 60
    Accessible.role: Accessible.CheckBox
    Accessible.name: name
    Accessible.checked: marked

    background: Rectangle {
        color: row.down ? Theme.pressed : row.marked ? Theme.accentTint : Theme.card

        Rectangle {
            anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
            height: 1
            color: Theme.line
        }
    }

    contentItem: Item {
        Rectangle {
            id: box

            anchors { left: parent.left; leftMargin: 14; verticalCenter: parent.verticalCenter }
            width: 28
            height: 28
            radius: 6
            color: row.marked ? Theme.accent : "transparent"
            border.width: 2
            border.color: row.marked ? Theme.accent : "#8795a3"

            Glyph {
                anchors.centerIn: parent
                name: "check"
                color: "white"
                stroke: 3
                visible: row.marked
            }
        }
        Column {
            anchors {
                left: box.right
                leftMargin: 14
                right: sizeText.left
                rightMargin: 8
                verticalCenter: parent.verticalCenter
            }
            spacing: 2

            Text {
                objectName: "nameText"
                width: parent.width
                text: row.name
                font.pixelSize: Theme.bodyText
                font.weight: Font.Medium
                color: Theme.text
                elide: Text.ElideMiddle
            }
            Text {
                objectName: "dateText"
                width: parent.width
                text: row.date
                font.pixelSize: Theme.smallText
                color: Theme.quietText
                elide: Text.ElideRight
            }
        }
        Text {
            id: sizeText

            objectName: "sizeText"
            anchors { right: parent.right; rightMargin: 16; verticalCenter: parent.verticalCenter }
            text: row.size
            font.pixelSize: Theme.bodyText
            color: Theme.text
        }
    }
}
