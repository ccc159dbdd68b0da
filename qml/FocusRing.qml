// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

// Shows where the keys go.
Rectangle {
    z: 10
    radius: Theme.radius
    color: "transparent"
    border.width: Theme.focusWidth
    border.color: Theme.focus
}
