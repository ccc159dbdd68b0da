// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15

ListView {
    width: 800; height: 480
    model: files
    delegate: Text { text: (model.selected ? "[x] " : "[ ] ") + model.file_name; textFormat: Text.PlainText }
    header: Text { text: logs.selectedNumberStr + " selected, " + logs.selectedFileSizeStr }
}
