// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// What all buttons share: Enter presses them as well as Space, and a frame shows where the keys go.
T.AbstractButton {
    id: control

    property real ringRadius: Theme.radius

    implicitWidth: Math.max(Theme.touchSize, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(Theme.touchSize, implicitContentHeight + topPadding + bottomPadding)
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodyText
    Accessible.role: Accessible.Button
    Accessible.name: text
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    FocusRing {
        anchors.fill: parent
        radius: control.ringRadius
        visible: control.visualFocus
    }
}
