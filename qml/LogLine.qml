// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import Brindlecast 1.0

// One record of a log. Long ones are cut after some lines until they are tapped.
Item {
    id: row

    required property string text
    required property int level
    required property string time
    required property string place

    property bool hasKeys: false
    property bool whole: false
    readonly property color ink: level >= LogTail.Critical ? Theme.bad : level === LogTail.Warning ? Theme.warning
        : level === LogTail.Debug ? Theme.quietText : Theme.text
    readonly property string levelName: switch (level) {
        case LogTail.Debug: return qsTr("Debug")
        case LogTail.Info: return qsTr("Info")
        case LogTail.Warning: return qsTr("Warning")
        case LogTail.Critical: return qsTr("Error")
        case LogTail.Fatal: return qsTr("Fatal error")
        default: return ""
    }

    function toggle() { whole = !whole }

    implicitHeight: words.implicitHeight + Theme.gap
    ListView.onReused: whole = false
    Accessible.role: Accessible.ListItem
    Accessible.name: [levelName, time, text].filter(part => part).join(", ")

    Rectangle {
        anchors { left: parent.left; leftMargin: Theme.gap / 2; top: words.top; bottom: words.bottom }
        width: 3
        radius: 1.5
        color: row.ink
        visible: row.level >= LogTail.Warning
    }
    Column {
        id: words

        anchors { left: parent.left; right: parent.right; margins: Theme.gap * 1.25; verticalCenter: parent.verticalCenter }
        spacing: 1

        Label {
            objectName: "aboutText"
            width: parent.width
            text: [row.time, row.levelName, row.place].filter(part => part).join("  ·  ")
            font.pixelSize: Theme.smallText * 0.9
            color: row.level >= LogTail.Warning ? row.ink : Theme.quietText
            elide: Text.ElideRight
            visible: text
            Accessible.ignored: true
        }
        Label {
            objectName: "lineText"
            width: parent.width
            text: row.text
            font.pixelSize: Theme.smallText
            color: row.ink
            wrapMode: Text.Wrap
            elide: Text.ElideRight
            maximumLineCount: row.whole ? 2000 : 4
            Accessible.ignored: true
        }
    }
    TapHandler { onTapped: row.toggle() }
    FocusRing {
        anchors { fill: parent; leftMargin: 2; rightMargin: 2 }
        visible: row.hasKeys
    }
}
