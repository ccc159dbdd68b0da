// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Controls 2.15

// A button large enough for a finger: outlined by default, filled when it is the main thing to do.
Button {
    id: button

    property bool primary: false
    property color tone: Theme.accent

    implicitHeight: Theme.touchSize
    leftPadding: 12
    rightPadding: 12
    font.pixelSize: Theme.bodyText
    font.weight: Font.Medium

    contentItem: Text {
        text: button.text
        font: button.font
        color: !button.enabled ? (button.primary ? "white" : Theme.quietText) : button.primary ? "white" : button.tone
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        radius: Theme.radius
        color: !button.primary ? (button.down ? Theme.pressed : "transparent")
                               : !button.enabled ? Theme.disabled : button.down ? Qt.darker(button.tone, 1.25) : button.tone
        border.width: button.primary ? 0 : 2
        border.color: button.enabled ? button.tone : Theme.disabled
    }
}
