// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

pragma Singleton
import QtQuick 2.15

// Colours, fonts and sizes of everything in this module. A host sets what it wants otherwise, at any time; lengths are in
// pixels.
QtObject {
    // Light text on dark ground. Colours that the host has set stay.
    property bool dark: false
    // Less room around everything, and smaller text, for displays such as 480x272.
    property bool compact: Qt.application.screens.length > 0 && Qt.application.screens[0].height < 400

    property string fontFamily: Qt.application.font.family
    // 1.5 makes all text half as large again; everything else makes room for it.
    property real textScale: 1
    property int smallText: (compact ? 13 : 15) * textScale
    property int bodyText: (compact ? 15 : 17) * textScale
    property int titleText: (compact ? 17 : 21) * textScale
    property int numberText: (compact ? 26 : 38) * textScale

    // The smallest thing that a finger should have to hit.
    property int touchSize: compact ? 42 : 48
    property int gap: compact ? 8 : 12
    property int radius: compact ? 8 : 12
    property int focusWidth: 3

    property color background: dark ? "#0f151b" : "#eef1f5"
    property color card: dark ? "#19212a" : "#ffffff"
    property color line: dark ? "#2b3641" : "#e1e6ec"
    property color pressed: dark ? "#232e39" : "#f0f4f8"
    property color text: dark ? "#e8eef4" : "#17212b"
    property color quietText: dark ? "#98a6b4" : "#55636f"
    property color accent: dark ? "#62a8ff" : "#0b63ce"
    // On the colours accent, good and bad.
    property color textOnAccent: dark ? "#071a30" : "#ffffff"
    property color accentTint: dark ? "#1a2c42" : "#eaf2fd"
    property color focus: dark ? "#ffd166" : "#e07b00"
    property color frame: dark ? "#6d7b89" : "#8795a3"
    property color disabled: dark ? "#3a4551" : "#c3ccd5"
    property color good: dark ? "#4fc78c" : "#187a48"
    property color goodTint: dark ? "#15302a" : "#e4f4eb"
    property color warning: dark ? "#f2a65a" : "#a85400"
    property color warningTint: dark ? "#33261a" : "#fdf1e3"
    property color bad: dark ? "#ff7b7b" : "#b8232f"
}
