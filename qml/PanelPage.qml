// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

// One state of the export panel, as wide as it: content that can be scrolled where it is higher than the panel, and below it what must
// always be in sight.
Item {
    id: page

    default property alias content: column.data
    property alias footer: foot.data

    implicitHeight: column.height + foot.height + 3 * Theme.gap
    anchors { fill: parent; margins: Theme.gap }

    Flickable {
        id: flickable

        anchors { left: parent.left; right: parent.right; top: parent.top; bottom: foot.top; bottomMargin: Theme.gap }
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        contentWidth: width
        contentHeight: column.height
        activeFocusOnTab: contentHeight > height
        Keys.onUpPressed: event => scroll(event, -height / 2)
        Keys.onDownPressed: event => scroll(event, height / 2)

        function scroll(event, distance) {
            const place = Math.max(0, Math.min(contentHeight - height, contentY + distance))
            event.accepted = place !== contentY
            contentY = place
        }

        Column {
            id: column

            width: parent.width
            spacing: Theme.gap / 2
        }
        ScrollMark { view: flickable }
        FocusRing {
            parent: flickable
            anchors.fill: parent
            visible: flickable.activeFocus
        }
    }
    Column {
        id: foot

        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        spacing: Theme.gap
    }
}
