// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Layouts 1.15
import Brindlecast 1.0

// The logs of the folder, with what is needed to choose among them.
//
// By keys: up and down go from log to log, left and right between a log's box and its name, Enter presses either.
Rectangle {
    id: panel

    required property LogExport logExport

    readonly property bool empty: list.count === 0 || !logExport.logFolderFound
    readonly property bool hasKeys: list.activeFocus
    // A name was tapped: show what is in it.
    signal opened(string name)

    // Puts the keys back where they were, after a log was looked into.
    function takeKeys(reason) { list.forceActiveFocus(reason) }

    implicitWidth: 480
    implicitHeight: 360
    radius: Theme.radius
    color: Theme.card

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        // Placed by anchors: a layout can miss that the choice unfolds while it is being laid out itself (Qt 6.4).
        Item {
            Layout.fillWidth: true
            Layout.margins: Theme.gap / 2
            implicitHeight: Math.max(allBox.implicitHeight, choice.implicitHeight)
            visible: !panel.empty

            Pressable {
                id: allBox

                readonly property bool all: panel.logExport.selectedCount >= list.count && list.count > 0

                objectName: "allBox"
                anchors.left: parent.left
                text: qsTr("All", "logs")
                leftPadding: (Theme.touchSize + Theme.gap - box.implicitWidth) / 2 - Theme.gap / 2
                rightPadding: Theme.gap
                Accessible.role: Accessible.CheckBox
                Accessible.name: qsTr("Select all logs")
                Accessible.checkable: true
                Accessible.checked: all
                onClicked: all ? panel.logExport.selectNone() : panel.logExport.selectAll()

                contentItem: Item {
                    implicitWidth: box.width + Theme.gap + allText.implicitWidth
                    implicitHeight: allText.implicitHeight

                    MarkBox {
                        id: box

                        anchors { left: parent.left; verticalCenter: parent.verticalCenter }
                        marked: allBox.all
                        partly: panel.logExport.selectedCount > 0
                    }
                    Label {
                        id: allText

                        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                        text: allBox.text
                        color: Theme.quietText
                        Accessible.ignored: true
                    }
                }
            }
            Choice {
                id: choice

                objectName: "sortChoice"
                anchors.right: parent.right
                label: qsTr("Order")
                options: [qsTr("Newest"), qsTr("Oldest"), qsTr("Largest")]
                current: panel.logExport.sortOrder
                room: panel.width - allBox.implicitWidth - 4 * Theme.gap
                onChosen: index => panel.logExport.sortOrder = index
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: Theme.line
            visible: !panel.empty
        }

        ListView {
            id: list

            property bool keysOnName: false
            property real place: 0

            objectName: "logList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.bottomMargin: Theme.radius / 2
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            highlightMoveDuration: 80
            activeFocusOnTab: true
            model: panel.logExport.files
            visible: !panel.empty
            onMovingChanged: panel.logExport.scrolling = moving
            Accessible.role: Accessible.List
            Accessible.name: qsTr("Logs")

            // To the log under the keys, which may be out of sight after the list was moved by hand.
            onActiveFocusChanged: {
                if (activeFocus && currentIndex < 0)
                    currentIndex = 0
                if (activeFocus)
                    positionViewAtIndex(currentIndex, ListView.Contain)
            }
            function press() {
                if (!currentItem)
                    return
                if (keysOnName)
                    currentItem.opened()
                else
                    currentItem.toggled()
            }
            function goSideways(event, toName) {
                event.accepted = keysOnName !== toName
                keysOnName = toName
            }
            Keys.onReturnPressed: press()
            Keys.onEnterPressed: press()
            Keys.onSpacePressed: press()
            Keys.onLeftPressed: event => goSideways(event, LayoutMirroring.enabled)
            Keys.onRightPressed: event => goSideways(event, !LayoutMirroring.enabled)

            delegate: LogRow {
                required property int index

                readonly property bool hasKeys: ListView.isCurrentItem && list.activeFocus

                objectName: "row" + index
                width: list.width
                keysOnBox: hasKeys && !list.keysOnName
                keysOnName: hasKeys && list.keysOnName
                onToggled: {
                    list.currentIndex = index
                    panel.logExport.toggle(index)
                }
                onOpened: {
                    list.currentIndex = index
                    panel.opened(name)
                }
            }

            ScrollMark { view: list }

            // Rows keep their place when logs come and go. Only a new order sends the view to its top.
            Connections {
                target: panel.logExport
                function onSortOrderChanged() { list.positionViewAtBeginning() }
            }
        }

        ColumnLayout {
            objectName: "emptyState"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.margins: Theme.gap * 2
            spacing: Theme.gap
            visible: panel.empty

            Item { Layout.fillHeight: true }
            Glyph {
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: 56
                Layout.preferredHeight: 56
                visible: !Theme.compact
                name: "page"
                color: Theme.disabled
                stroke: 1.5
            }
            Label {
                objectName: "emptyTitle"
                Layout.fillWidth: true
                text: panel.logExport.logFolderFound ? qsTr("No logs yet") : qsTr("The log folder is missing")
                font.pixelSize: Theme.titleText
                font.weight: Font.Medium
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
            }
            Label {
                objectName: "emptyText"
                Layout.fillWidth: true
                text: !panel.logExport.logFolderFound
                      ? qsTr("%1 does not exist. It appears here as soon as the device makes it.").arg(panel.logExport.logFolder)
                      : panel.logExport.logging
                        ? qsTr("Logging is on: the first log appears here by itself.")
                        : qsTr("Switch logging on. New logs appear here by themselves.")
                color: Theme.quietText
                wrapMode: Text.Wrap
                horizontalAlignment: Text.AlignHCenter
            }
            Item { Layout.fillHeight: true }
        }
    }
}
