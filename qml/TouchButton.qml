// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

// A button large enough for a finger: filled when it is the main thing to do, and quiet otherwise.
Pressable {
    id: button

    property bool primary: false
    readonly property color ink: !enabled ? Theme.quietText : primary ? Theme.textOnAccent : Theme.accent

    leftPadding: Theme.gap
    rightPadding: Theme.gap
    topPadding: 6
    bottomPadding: 6
    font.pixelSize: Theme.bodyText
    font.weight: Font.Medium

    contentItem: Label {
        text: button.text
        font: button.font
        color: button.ink
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        radius: Theme.radius
        color: !button.primary ? (button.down ? Theme.line : Theme.pressed)
            : !button.enabled ? Theme.line : button.down ? Qt.darker(Theme.accent, 1.2) : Theme.accent
    }
}
