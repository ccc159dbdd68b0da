// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

pragma Singleton
import QtQuick 2.15

QtObject {
    // The smallest thing a finger should have to hit.
    readonly property int touchSize: 48
    readonly property int gap: 12
    readonly property int radius: 10

    readonly property int smallText: 15
    readonly property int bodyText: 17
    readonly property int titleText: 22
    readonly property int numberText: 40

    readonly property color header: "#13293d"
    readonly property color background: "#e9eef3"
    readonly property color card: "#ffffff"
    readonly property color line: "#dbe2e9"
    readonly property color pressed: "#edf2f7"
    readonly property color text: "#16212c"
    readonly property color quietText: "#536371"
    readonly property color accent: "#0a62c9"
    readonly property color accentTint: "#e8f1fd"
    readonly property color disabled: "#c3ccd5"
    readonly property color good: "#187a48"
    readonly property color goodTint: "#e4f4eb"
    readonly property color warning: "#a85400"
    readonly property color warningTint: "#fdf0e0"
    readonly property color bad: "#b8232f"
}
