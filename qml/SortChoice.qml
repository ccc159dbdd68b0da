// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Controls 2.15

// One of several orders, side by side; the chosen one is filled.
Rectangle {
    id: choice

    required property var options // texts
    required property int current
    signal chosen(int index)

    implicitWidth: row.implicitWidth
    implicitHeight: Theme.touchSize
    radius: Theme.radius
    color: Theme.background

    Row {
        id: row

        anchors.fill: parent

        Repeater {
            model: choice.options

            AbstractButton {
                required property int index
                required property string modelData

                objectName: "order" + index
                width: choice.width / choice.options.length
                height: parent.height
                text: modelData
                checked: choice.current === index
                onClicked: choice.chosen(index)

                background: Rectangle {
                    anchors.fill: parent
                    anchors.margins: 4
                    radius: Theme.radius - 3
                    color: parent.checked ? Theme.card : parent.down ? Theme.line : "transparent"
                    border.width: parent.checked ? 1 : 0
                    border.color: Theme.line
                }
                contentItem: Text {
                    text: parent.text
                    font.pixelSize: Theme.smallText
                    font.weight: parent.checked ? Font.Medium : Font.Normal
                    color: parent.checked ? Theme.accent : Theme.quietText
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
    }
}
