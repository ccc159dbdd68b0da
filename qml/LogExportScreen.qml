// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Layouts 1.15
import QtQuick.Window 2.15
import Brindlecast 1.0

// The whole screen on which a user looks into logs, marks some and copies them to a memory stick.
//
// It fits displays from 480x272 on, lying and upright. By keys: Tab and the arrows go from one thing to the next, Enter
// presses it.
FocusScope {
    id: root

    // The folder to copy to. When empty, the first volume mounted below /media or /run/media.
    property alias destination: backEnd.destination
    // Take the folder only while a volume is mounted there.
    property alias destinationMustBeVolume: backEnd.destinationMustBeVolume
    // The folder to list; the library's log directory by default.
    property alias logFolder: backEnd.logFolder
    // What else a host may want to know or to start: see LogExport.
    readonly property alias logExport: backEnd

    property string title: qsTr("Log export")
    property bool showsLoggingSwitch: true
    // Adds a button that asks the host to leave the screen.
    property bool showsBackButton: false
    signal leaveRequested()

    readonly property bool upright: height > width
    // So low, or with text so large, that list and panel take turns while logs are copied.
    readonly property bool tight: !upright && height < Theme.bodyText * 18.5

    implicitWidth: 800
    implicitHeight: 480
    focus: true
    LayoutMirroring.enabled: Qt.application.layoutDirection === Qt.RightToLeft
    LayoutMirroring.childrenInherit: true
    Accessible.role: Accessible.Pane
    Accessible.name: title
    Keys.onUpPressed: event => event.accepted = moveKeys(false)
    Keys.onDownPressed: event => event.accepted = moveKeys(true)
    Keys.onLeftPressed: event => event.accepted = moveKeys(LayoutMirroring.enabled)
    Keys.onRightPressed: event => event.accepted = moveKeys(!LayoutMirroring.enabled)

    function holds(item) {
        while (item && item !== root)
            item = item.parent
        return item === root
    }
    // Goes on to what Tab would go to, but not out of the screen.
    function moveKeys(forward) {
        const from = Window.activeFocusItem
        const next = (holds(from) ? from : root).nextItemInFocusChain(forward)
        if (!holds(next))
            return false
        next.forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason)
        return true
    }

    LogExport { id: backEnd }

    Rectangle {
        anchors.fill: parent
        color: Theme.background
    }

    ColumnLayout {
        anchors { fill: parent; margins: Theme.gap; topMargin: Theme.gap / 2 }
        spacing: Theme.gap / 2
        enabled: !viewLoader.active
        visible: !viewLoader.active

        RowLayout {
            spacing: Theme.gap / 2

            GlyphButton {
                objectName: "leaveButton"
                visible: root.showsBackButton
                glyph: mirrored ? "forward" : "back"
                text: qsTr("Back")
                onClicked: root.leaveRequested()
            }
            Label {
                objectName: "title"
                Layout.fillWidth: true
                Layout.leftMargin: root.showsBackButton ? 0 : Theme.gap / 2
                Layout.minimumHeight: Theme.touchSize
                text: root.title
                font.pixelSize: Theme.titleText
                font.weight: Font.Medium
                verticalAlignment: Text.AlignVCenter
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
            }
            LoggingSwitch {
                objectName: "loggingSwitch"
                Layout.rightMargin: -Theme.gap / 2
                visible: root.showsLoggingSwitch
                logExport: backEnd
            }
        }

        GridLayout {
            columns: root.upright ? 1 : 2
            columnSpacing: Theme.gap
            rowSpacing: Theme.gap

            LogList {
                id: list

                objectName: "list"
                Layout.fillWidth: true
                Layout.fillHeight: true
                logExport: backEnd
                // What is being copied was chosen before.
                enabled: backEnd.job.state === ExportJob.Idle
                visible: enabled || !root.tight
                opacity: enabled ? 1 : 0.55
                onOpened: name => {
                    viewLoader.byKeys = hasKeys
                    viewLoader.path = backEnd.pathOf(name)
                    viewLoader.active = true
                }
            }
            ExportPanel {
                id: panel

                Layout.fillWidth: root.upright || !list.visible
                Layout.fillHeight: !root.upright
                Layout.preferredWidth: Math.max(root.width * 0.28, Math.min(root.width * 0.38, Theme.bodyText * 16))
                Layout.preferredHeight: root.upright ? Math.min(root.height * 0.5, Math.max(implicitHeight, Theme.bodyText * 13)) : -1
                tight: root.tight
                logExport: backEnd
            }
        }
    }

    Loader {
        id: viewLoader

        property string path
        property bool byKeys: false

        objectName: "viewLoader"
        anchors.fill: parent
        active: false
        focus: active
        sourceComponent: LogView {
            path: viewLoader.path
            focus: true
            onClosed: {
                const byKeys = viewLoader.byKeys
                viewLoader.active = false
                if (byKeys)
                    list.takeKeys(Qt.TabFocusReason)
            }
        }
    }
}
