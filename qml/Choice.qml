// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

// One of several things. They stand side by side with the chosen one raised; where they need more than `room`, only the
// chosen one is shown, and a tap goes on to the next.
Item {
    id: choice

    required property var options // texts
    required property int current
    required property string label // what is chosen, for those who don't see it
    property real room: width
    property color ground: Theme.background
    readonly property bool folded: segments.implicitWidth > room
    signal chosen(int index)

    implicitWidth: folded ? single.implicitWidth : segments.implicitWidth
    implicitHeight: Math.max(Theme.touchSize, single.implicitHeight)

    Rectangle {
        anchors.fill: parent
        radius: Theme.radius
        color: choice.ground
        visible: !choice.folded
    }
    Row {
        id: segments

        height: parent.height
        visible: !choice.folded

        Repeater {
            model: choice.options

            Pressable {
                id: segment

                required property int index
                required property string modelData

                objectName: "option" + index
                height: parent.height
                leftPadding: Theme.gap + 2
                rightPadding: Theme.gap + 2
                text: modelData
                checked: choice.current === index
                font.pixelSize: Theme.smallText
                Accessible.role: Accessible.RadioButton
                Accessible.name: choice.label + ": " + text
                Accessible.checkable: true
                Accessible.checked: checked
                onClicked: choice.chosen(index)

                background: Item {
                    Rectangle {
                        anchors.fill: parent
                        anchors.margins: 4
                        radius: Theme.radius - 3
                        color: segment.checked ? Theme.card : segment.down ? Theme.line : "transparent"
                        border.width: segment.checked ? 1 : 0
                        border.color: Theme.line
                    }
                }
                contentItem: Label {
                    text: segment.text
                    font.pixelSize: segment.font.pixelSize
                    font.weight: segment.checked ? Font.Medium : Font.Normal
                    color: segment.checked ? Theme.accent : Theme.quietText
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    Accessible.ignored: true
                }
            }
        }
    }
    TouchButton {
        id: single

        objectName: "nextOption"
        width: Math.min(implicitWidth, choice.room)
        height: parent.height
        visible: choice.folded
        text: choice.options[choice.current]
        font.pixelSize: Theme.smallText
        Accessible.name: choice.label + ": " + text
        onClicked: choice.chosen((choice.current + 1) % choice.options.length)
    }
}
