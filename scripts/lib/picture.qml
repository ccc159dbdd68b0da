// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

// Saves a picture of the export screen and ends; scripts/screenshot runs it.
//
// usage: qml picture.qml -- PICTURE LOG-FOLDER DESTINATION WIDTHxHEIGHT TEXT-SCALE SITUATION [dark] [mirrored]

import QtQuick 2.15
import Brindlecast 1.0

Item {
    id: root

    readonly property var words: Qt.application.arguments.slice(Qt.application.arguments.indexOf("--") + 1)
    readonly property var size: words[3].split("x").map(Number)
    readonly property string situation: words[5]

    width: size[0]
    height: size[1]

    Component.onCompleted: {
        Theme.textScale = Number(words[4])
        Theme.dark = words.includes("dark")
        Theme.compact = Math.min(...size) < 400
        Theme.fontFamily = "Roboto"
    }

    LogExportScreen {
        id: screen

        anchors.fill: parent
        logFolder: root.words[1]
        destination: root.words[2]
        LayoutMirroring.enabled: root.words.includes("mirrored")
    }

    function find(item, name) {
        if (item.objectName === name)
            return item
        for (let i = 0; i < item.children.length; ++i) {
            const found = find(item.children[i], name)
            if (found)
                return found
        }
        return null
    }
    // What a user would have done before the picture was taken.
    function act() {
        if (!["nothing", "no-stick", "empty"].includes(situation))
            [0, 1, 3].forEach(row => screen.logExport.toggle(row))
        if (situation === "copying" || situation === "done")
            screen.logExport.exportSelected()
        else if (situation === "keys") {
            const list = find(screen, "logList")
            list.currentIndex = 1
            list.forceActiveFocus(Qt.TabFocusReason)
        } else if (situation === "looking")
            find(screen, "list").opened(screen.logExport.files.nameAt(0))
        if (situation !== "copying")
            later.start()
    }
    // Half-way.
    Connections {
        target: root.situation === "copying" ? screen.logExport.job : null
        function onProgressChanged() {
            if (target.bytesDone > 0.3 * target.bytesTotal && !later.running)
                later.start()
        }
    }

    function save() {
        root.grabToImage(result => {
            Qt.exit(result.saveToFile(root.words[0]) ? 0 : 1)
        })
    }

    Timer {
        interval: 600
        running: true
        onTriggered: root.act()
    }
    Timer {
        id: later

        interval: root.situation === "copying" ? 0 : 1000
        onTriggered: root.save()
    }
}
