// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import Brindlecast 1.0

// The box of a check mark; with a dash when only a part of something is marked.
Rectangle {
    id: box

    property bool marked: false
    property bool partly: false

    implicitWidth: Theme.compact ? 22 : 26
    implicitHeight: implicitWidth
    radius: 6
    color: marked || partly ? Theme.accent : "transparent"
    border.width: marked || partly ? 0 : 2
    border.color: Theme.frame

    Glyph {
        anchors.centerIn: parent
        width: box.width - 2
        height: width
        name: box.marked ? "check" : box.partly ? "dash" : ""
        color: Theme.textOnAccent
        stroke: 3
    }
}
