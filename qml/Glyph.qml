// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

// The few signs the screen needs, drawn on a grid of 24 by 24 so that no icon font or image format is needed.
Canvas {
    id: glyph

    property string name
    property color color: Theme.quietText
    property real stroke: 2

    implicitWidth: 24
    implicitHeight: 24
    onNameChanged: requestPaint()
    onColorChanged: requestPaint()

    onPaint: {
        const context = getContext("2d")
        context.reset()
        context.scale(width / 24, height / 24)
        context.lineWidth = stroke
        context.lineCap = "round"
        context.lineJoin = "round"
        context.strokeStyle = color
        context.fillStyle = color
        context.beginPath()
        switch (name) {
        case "check":
            context.moveTo(5, 12.5)
            context.lineTo(10, 17.5)
            context.lineTo(19.5, 7)
            break
        case "stick":
            context.roundedRect(5, 9, 14, 13, 3, 3)
            context.rect(8, 2, 8, 7)
            context.moveTo(11, 5.5)
            context.lineTo(11, 6)
            context.moveTo(13.5, 5.5)
            context.lineTo(13.5, 6)
            break
        case "page":
            context.moveTo(14, 2)
            context.lineTo(6, 2)
            context.lineTo(6, 22)
            context.lineTo(19, 22)
            context.lineTo(19, 7)
            context.lineTo(14, 2)
            context.lineTo(14, 7)
            context.lineTo(19, 7)
            context.moveTo(9.5, 12)
            context.lineTo(15.5, 12)
            context.moveTo(9.5, 16.5)
            context.lineTo(15.5, 16.5)
            break
        case "alert":
            context.moveTo(12, 3)
            context.lineTo(22, 20.5)
            context.lineTo(2, 20.5)
            context.closePath()
            context.moveTo(12, 10)
            context.lineTo(12, 14)
            context.moveTo(12, 17.2)
            context.lineTo(12, 17.3)
            break
        case "bang":
            context.moveTo(12, 5)
            context.lineTo(12, 13.5)
            context.moveTo(12, 18.8)
            context.lineTo(12, 18.9)
            break
        case "cross":
            context.moveTo(6.5, 6.5)
            context.lineTo(17.5, 17.5)
            context.moveTo(17.5, 6.5)
            context.lineTo(6.5, 17.5)
            break
        case "eject":
            context.moveTo(12, 5)
            context.lineTo(19, 14)
            context.lineTo(5, 14)
            context.closePath()
            context.moveTo(5, 18.5)
            context.lineTo(19, 18.5)
            break
        }
        context.stroke()
    }
}
