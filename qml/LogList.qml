// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import Brindlecast 1.0

// The logs of the folder, with what is needed to choose among them.
Rectangle {
    id: panel

    required property var screen
    readonly property bool empty: list.count === 0 || !screen.logFolderFound

    radius: Theme.radius
    color: Theme.card
    clip: true

    // Every mark that changes resets the whole list, and a reset sends a view back to its top. Setting all marks would
    // even rebuild the view once for each row, so it lets go of the list meanwhile.
    function markAll(mark) {
        list.keepPlace()
        list.model = null
        mark()
        list.model = Qt.binding(() => panel.screen.files)
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        RowLayout {
            Layout.margins: 10
            spacing: 8
            enabled: !panel.empty

            TouchButton {
                objectName: "allButton"
                Layout.preferredWidth: 64
                text: qsTr("All")
                onClicked: panel.markAll(() => panel.screen.selectAll())
            }
            TouchButton {
                objectName: "noneButton"
                Layout.preferredWidth: 76
                text: qsTr("None")
                onClicked: panel.markAll(() => panel.screen.selectNone())
            }
            Item { Layout.fillWidth: true }
            SortChoice {
                objectName: "sortChoice"
                Layout.preferredWidth: 272
                options: [qsTr("Newest"), qsTr("Oldest"), qsTr("Largest")]
                current: panel.screen.sortOrder
                onChosen: index => panel.screen.sortOrder = index
            }
        }

        Rectangle {
            Layout.fillWidth: true
            height: 1
            color: Theme.line
        }

        ListView {
            id: list

            property real place: -1

            function keepPlace() {
                if (place < 0)
                    place = contentY - originY
                Qt.callLater(returnToPlace)
            }
            function returnToPlace() {
                forceLayout()
                contentY = originY + Math.max(0, Math.min(place, contentHeight - height))
                place = -1
            }

            objectName: "logList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.bottomMargin: Theme.radius / 2
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            // No rows made ahead of time: a reset would throw them away.
            cacheBuffer: 0
            model: panel.screen.files
            visible: !panel.empty
            onMovingChanged: panel.screen.scrolling = moving

            delegate: LogRow {
                required property int index
                required property var model

                objectName: "row" + index
                width: list.width
                name: model.file_name
                marked: model.selected
                size: panel.screen.sizeOf(model.file_name)
                date: panel.screen.dateOf(model.file_name)
                onClicked: panel.screen.toggle(index)
            }

            ScrollBar.vertical: ScrollBar {
                policy: list.contentHeight > list.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
                implicitWidth: 8
            }

            Connections {
                target: panel.screen.files
                function onModelAboutToBeReset() { list.keepPlace() }
            }
        }

        ColumnLayout {
            objectName: "emptyState"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.margins: 32
            spacing: 10
            visible: panel.empty

            Item { Layout.fillHeight: true }
            Glyph {
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: 64
                Layout.preferredHeight: 64
                name: "page"
                color: Theme.disabled
                stroke: 1.5
            }
            Text {
                objectName: "emptyTitle"
                Layout.fillWidth: true
                text: panel.screen.logFolderFound ? qsTr("No logs yet") : qsTr("The log folder is missing")
                font.pixelSize: Theme.titleText
                font.weight: Font.Medium
                color: Theme.text
                horizontalAlignment: Text.AlignHCenter
            }
            Text {
                objectName: "emptyText"
                Layout.fillWidth: true
                text: !panel.screen.logFolderFound
                      ? qsTr("%1 does not exist. It appears here as soon as the device makes it.").arg(panel.screen.logFolder)
                      : panel.screen.logs.logOutputEnabled
                        ? qsTr("Logging is on: the first log appears here by itself.")
                        : qsTr("Switch logging on, at the top right. New logs appear here by themselves.")
                font.pixelSize: Theme.bodyText
                color: Theme.quietText
                wrapMode: Text.Wrap
                horizontalAlignment: Text.AlignHCenter
            }
            Item { Layout.fillHeight: true }
        }
    }
}
