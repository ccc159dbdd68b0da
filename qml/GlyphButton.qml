// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import Brindlecast 1.0

// A button with a sign alone. `text` is for those who don't see it.
Pressable {
    id: button

    property string glyph

    contentItem: Item {
        Glyph {
            anchors.centerIn: parent
            name: button.glyph
            color: button.enabled ? Theme.text : Theme.disabled
        }
    }
    background: Rectangle {
        radius: Theme.radius
        color: button.down ? Theme.line : "transparent"
    }
}
