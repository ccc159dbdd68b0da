// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

// Shows which part of a Flickable is in sight. It can't be dragged: fingers move the view itself.
Rectangle {
    required property Flickable view

    readonly property real share: view.visibleArea.heightRatio

    parent: view
    x: LayoutMirroring.enabled ? 2 : view.width - width - 2
    y: Math.max(0, Math.min(1, view.visibleArea.yPosition)) * (view.height - height) / Math.max(0.001, 1 - share)
    z: 5
    width: 4
    height: Math.max(24, view.height * share)
    radius: 2
    color: Theme.frame
    opacity: 0.6
    visible: share < 1
}
