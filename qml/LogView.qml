// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Layouts 1.15
import Brindlecast 1.0

// A look into one log: its newest lines, kept up to date while the log grows.
//
// By keys: up and down go from line to line, Enter shows a long line whole, Escape closes.
FocusScope {
    id: view

    // The file to show.
    property alias path: tail.path
    // What stands above the lines.
    property string title: path.slice(path.lastIndexOf("/") + 1)
    // Asks to be hidden.
    signal closed()

    readonly property bool narrow: width < Theme.bodyText * 30

    implicitWidth: 800
    implicitHeight: 480
    Keys.onEscapePressed: closed()
    Keys.onBackPressed: closed()

    LogTail { id: tail }

    Rectangle {
        anchors.fill: parent
        color: Theme.background

        // Nothing below is pressed through the gaps.
        MouseArea { anchors.fill: parent }
    }

    GridLayout {
        id: bar

        anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.gap / 2 }
        columns: view.narrow ? 2 : 4
        columnSpacing: Theme.gap
        rowSpacing: 0

        RowLayout {
            Layout.fillWidth: true
            Layout.columnSpan: view.narrow ? 2 : 1
            spacing: Theme.gap / 2

            GlyphButton {
                id: backButton

                objectName: "backButton"
                glyph: mirrored ? "forward" : "back"
                text: qsTr("Back")
                focus: true
                onClicked: view.closed()
            }
            Label {
                objectName: "viewTitle"
                Layout.fillWidth: true
                text: view.title
                font.pixelSize: view.narrow ? Theme.bodyText : Theme.titleText
                font.weight: Font.Medium
                elide: Text.ElideMiddle
            }
        }
        Choice {
            readonly property var levels: [LogTail.None, LogTail.Warning, LogTail.Critical]

            objectName: "levelChoice"
            label: qsTr("Lines")
            ground: Theme.line
            options: [qsTr("All", "lines"), qsTr("Warnings"), qsTr("Errors")]
            current: levels.indexOf(tail.lowestLevel)
            room: view.width - followButton.implicitWidth - 4 * Theme.gap
            enabled: tail.hasLevels
            opacity: enabled ? 1 : 0.4
            onChosen: index => tail.lowestLevel = levels[index]
        }
        Pressable {
            id: followButton

            objectName: "followButton"
            Layout.alignment: Qt.AlignRight
            leftPadding: Theme.gap
            rightPadding: Theme.gap
            text: qsTr("Follow")
            checked: lines.follows
            Accessible.role: Accessible.CheckBox
            Accessible.checkable: true
            Accessible.checked: checked
            onClicked: {
                lines.follows = !lines.follows
                lines.goToEnd()
            }

            contentItem: RowLayout {
                spacing: Theme.gap / 2

                MarkBox { marked: lines.follows }
                Label {
                    text: followButton.text
                    font.pixelSize: Theme.smallText
                    color: Theme.quietText
                    Accessible.ignored: true
                }
            }
        }
    }

    Rectangle {
        anchors { left: parent.left; right: parent.right; top: bar.bottom; bottom: parent.bottom; margins: Theme.gap }
        anchors.topMargin: Theme.gap / 2
        radius: Theme.radius
        color: Theme.card

        ListView {
            id: lines

            // Stays at the end while the log grows, until someone goes back to older lines.
            property bool follows: true

            objectName: "lines"
            anchors { fill: parent; topMargin: Theme.radius / 2; bottomMargin: Theme.radius / 2 }
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            highlightMoveDuration: 0
            reuseItems: true
            activeFocusOnTab: true
            model: tail
            Accessible.role: Accessible.List
            Accessible.name: view.title

            function goToEnd() {
                if (follows)
                    positionViewAtEnd()
            }
            onCountChanged: Qt.callLater(goToEnd)
            onHeightChanged: goToEnd()
            onMovementEnded: follows = atYEnd
            onActiveFocusChanged: if (activeFocus) currentIndex = count - 1
            Keys.onUpPressed: event => {
                follows = false
                event.accepted = currentIndex > 0
                decrementCurrentIndex()
            }
            Keys.onReturnPressed: if (currentItem) currentItem.toggle()
            Keys.onEnterPressed: if (currentItem) currentItem.toggle()

            delegate: LogLine {
                width: lines.width
                hasKeys: ListView.isCurrentItem && lines.activeFocus
            }

            ScrollMark { view: lines }
        }
        Label {
            objectName: "viewState"
            anchors.centerIn: parent
            width: parent.width - 4 * Theme.gap
            text: lines.count > 0 || tail.state === LogTail.Empty ? ""
                : tail.state === LogTail.Missing ? qsTr("This log is gone.")
                : tail.state === LogTail.Unreadable ? qsTr("This log can't be read.")
                : tail.state !== LogTail.Ready ? qsTr("Reading…")
                : tail.lowestLevel !== LogTail.None ? qsTr("No such lines.") : qsTr("This log is empty.")
            color: Theme.quietText
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
    }
}
