// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import Brindlecast 1.0

LogExportScreen { anchors.fill: parent; destination: "/media/usb0" }
