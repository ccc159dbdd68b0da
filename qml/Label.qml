// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

// Text in the theme's font. Always plain, because a file's name may look like HTML; always on the leading side, because a
// path has no direction of its own.
Text {
    color: Theme.text
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodyText
    horizontalAlignment: Text.AlignLeft
    textFormat: Text.PlainText
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
