// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import Brindlecast 1.0

// One log of the list: a box that marks it, and its name, which opens it.
Item {
    id: row

    required property string name
    required property bool marked
    required property string size
    required property string date

    // Which of its two halves the keys act on.
    property bool keysOnBox: false
    property bool keysOnName: false
    // Where there is no room for a column of sizes, the size stands before the date.
    readonly property bool narrow: width < Theme.bodyText * 25
    signal toggled()
    signal opened()

    implicitHeight: Math.max(Theme.touchSize, words.implicitHeight + 2 * Theme.gap)

    Rectangle {
        anchors.fill: parent
        color: mark.down || open.down ? Theme.pressed : row.marked ? Theme.accentTint : Theme.card
    }
    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: 1
        color: Theme.line
    }

    Pressable {
        id: mark

        objectName: "mark"
        anchors { left: parent.left; top: parent.top; bottom: parent.bottom }
        width: Theme.touchSize + Theme.gap
        focusPolicy: Qt.NoFocus
        Accessible.role: Accessible.CheckBox
        Accessible.name: qsTr("Select %1").arg(row.name)
        Accessible.checkable: true
        Accessible.checked: row.marked
        onClicked: row.toggled()

        contentItem: Item {
            MarkBox {
                anchors.centerIn: parent
                marked: row.marked
            }
        }
    }
    FocusRing {
        anchors { fill: mark; margins: 2 }
        visible: row.keysOnBox
    }

    Pressable {
        id: open

        objectName: "open"
        anchors { left: mark.right; right: parent.right; top: parent.top; bottom: parent.bottom }
        leftPadding: mirrored ? Theme.gap : 0
        rightPadding: mirrored ? 0 : Theme.gap
        focusPolicy: Qt.NoFocus
        Accessible.name: qsTr("Look into %1").arg(row.name)
        Accessible.description: row.date + ", " + row.size
        onClicked: row.opened()

        contentItem: Item {
            Column {
                id: words

                anchors {
                    left: parent.left
                    right: sizeText.visible ? sizeText.left : arrow.left
                    rightMargin: Theme.gap
                    verticalCenter: parent.verticalCenter
                }
                spacing: 2

                Label {
                    objectName: "nameText"
                    width: parent.width
                    text: row.name
                    font.weight: Font.Medium
                    elide: Text.ElideMiddle
                    Accessible.ignored: true
                }
                Label {
                    objectName: "dateText"
                    width: parent.width
                    text: row.narrow ? row.size + "  ·  " + row.date : row.date
                    font.pixelSize: Theme.smallText
                    color: Theme.quietText
                    elide: Text.ElideRight
                    Accessible.ignored: true
                }
            }
            Label {
                id: sizeText

                objectName: "sizeText"
                anchors { right: arrow.left; rightMargin: 4; verticalCenter: parent.verticalCenter }
                text: row.size
                color: Theme.quietText
                visible: !row.narrow
                Accessible.ignored: true
            }
            Glyph {
                id: arrow

                anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                width: 18
                height: 18
                name: open.mirrored ? "back" : "forward"
                color: Theme.frame
            }
        }
    }
    FocusRing {
        anchors { fill: open; margins: 2 }
        visible: row.keysOnName
    }
}
