// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Window 2.15
import Brindlecast 1.0

Window {
    width: 800; height: 480
    visible: true

    LogExportScreen { anchors.fill: parent; destination: "/media/usb0" }
}
