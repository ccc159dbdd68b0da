// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import Brindlecast 1.0

// Where the marked logs go, and how the export is getting on.
Rectangle {
    id: panel

    required property LogExport logExport

    readonly property ExportJob job: logExport.job
    readonly property bool destinationFound: logExport.destinationFolder !== ""
    // Side by side where there is room, one below the other elsewhere.
    readonly property bool wide: width > Theme.bodyText * 23
    // Too low for more than the facts.
    property bool tight: false

    implicitWidth: 280
    implicitHeight: choosing.implicitHeight
    radius: Theme.radius
    color: Theme.card

    // Who presses a button by key goes on to the one that takes its place.
    property bool byKeys: false
    Connections {
        target: panel.job
        enabled: panel.byKeys
        function onStateChanged() {
            const button = panel.job.active ? cancelButton : panel.job.state === ExportJob.Finished ? okButton : exportButton
            button.forceActiveFocus(Qt.TabFocusReason)
        }
    }

    component Caption: Label {
        width: parent.width
        font.pixelSize: Theme.smallText
        color: Theme.quietText
        elide: Text.ElideRight
    }
    component Words: Label {
        width: parent.width
        wrapMode: Text.Wrap
    }
    component MainButton: TouchButton {
        width: parent.width
        implicitHeight: Math.max(Theme.touchSize + 6, implicitContentHeight + 18)
        font.pixelSize: Theme.titleText
        onClicked: panel.byKeys = visualFocus
    }
    // A sentence about the stick that nobody should miss.
    component Notice: Rectangle {
        id: notice

        property alias text: noticeText.text
        property alias glyph: noticeGlyph.name
        property color ink

        width: parent.width
        height: Math.max(noticeText.implicitHeight, noticeGlyph.height) + 1.5 * Theme.gap
        radius: Theme.radius

        Glyph {
            id: noticeGlyph

            anchors { left: parent.left; leftMargin: Theme.gap; verticalCenter: parent.verticalCenter }
            color: notice.ink
        }
        Label {
            id: noticeText

            objectName: notice.objectName + "Text"
            anchors {
                left: noticeGlyph.right
                right: parent.right
                margins: Theme.gap
                verticalCenter: parent.verticalCenter
            }
            color: notice.ink
            font.pixelSize: Theme.smallText
            font.weight: Font.Medium
            wrapMode: Text.Wrap
        }
    }

    // What is marked and where it would go.
    PanelPage {
        id: choosing

        objectName: "choosing"
        visible: panel.job.state === ExportJob.Idle

        Grid {
            id: facts

            readonly property real cell: panel.wide ? (width - columnSpacing) / 2 : width

            width: parent.width
            columns: panel.wide ? 2 : 1
            columnSpacing: Theme.gap * 2
            rowSpacing: panel.tight ? Theme.gap / 2 : Theme.gap

            Column {
                width: facts.cell
                spacing: 4

                Caption {
                    text: qsTr("Copy to")
                    visible: !panel.tight
                }
                Item {
                    width: parent.width
                    height: Math.max(stick.height, place.height)

                    Glyph {
                        id: stick

                        anchors.left: parent.left
                        name: "stick"
                        color: panel.destinationFound ? Theme.accent : Theme.warning
                    }
                    Column {
                        id: place

                        anchors { left: stick.right; leftMargin: Theme.gap; right: parent.right }
                        spacing: 2

                        Label {
                            objectName: "destinationText"
                            width: parent.width
                            text: panel.destinationFound ? panel.logExport.destinationFolder : qsTr("No memory stick")
                            font.weight: Font.Medium
                            color: panel.destinationFound ? Theme.text : Theme.warning
                            elide: Text.ElideMiddle
                        }
                        Caption {
                            objectName: "freeText"
                            visible: panel.destinationFound
                            text: qsTr("%1 free").arg(panel.logExport.freeSpace)
                            color: panel.logExport.selectionFits ? Theme.quietText : Theme.warning
                        }
                    }
                }
                Words {
                    objectName: "noDestinationText"
                    visible: !panel.destinationFound
                    text: panel.logExport.destination
                          ? qsTr("Plug in the stick that holds %1. It is found by itself.").arg(panel.logExport.destination)
                          : qsTr("Plug one in. It is found by itself within a few seconds.")
                    font.pixelSize: Theme.smallText
                    color: Theme.quietText
                }
            }

            Rectangle {
                width: facts.cell
                height: 1
                color: Theme.line
                visible: !panel.wide && !panel.tight
            }

            Column {
                width: facts.cell

                Caption {
                    text: qsTr("Selected")
                    visible: !panel.tight
                }
                Item {
                    width: parent.width
                    height: number.height

                    Label {
                        id: number

                        objectName: "selectedNumberText"
                        anchors.left: parent.left
                        text: panel.logExport.selectedCount
                        font.pixelSize: panel.tight ? Theme.titleText : Theme.numberText
                        font.weight: Font.Medium
                        color: panel.logExport.selectedCount > 0 ? Theme.accent : Theme.quietText
                    }
                    Label {
                        anchors { left: number.right; right: size.left; margins: Theme.gap / 2; baseline: number.baseline }
                        text: qsTr("log(s)", "after their number", panel.logExport.selectedCount)
                        color: Theme.quietText
                        elide: Text.ElideRight
                    }
                    Label {
                        id: size

                        objectName: "selectedSizeText"
                        anchors { right: parent.right; baseline: number.baseline }
                        text: panel.logExport.selectedCount > 0 ? panel.logExport.selectedSize : ""
                    }
                }
            }
        }

        footer: [
            Words {
                objectName: "hintText"
                text: panel.logExport.selectedCount === 0
                      ? (panel.logExport.logFolderFound && panel.logExport.files.count > 0 ? qsTr("Select the logs to copy. Tap a name to look into it.") : "")
                      : panel.destinationFound && !panel.logExport.selectionFits ? qsTr("This is more than fits on the stick.") : ""
                visible: text && !(panel.tight && panel.logExport.selectedCount === 0)
                color: panel.logExport.selectedCount > 0 ? Theme.warning : Theme.quietText
                font.pixelSize: Theme.smallText
            },
            MainButton {
                id: exportButton

                objectName: "exportButton"
                primary: true
                text: qsTr("Export")
                enabled: panel.logExport.selectedCount > 0 && panel.logExport.logFolderFound && panel.destinationFound
                onClicked: panel.logExport.exportSelected()
            }
        ]
    }

    // While it copies.
    PanelPage {
        objectName: "copying"
        visible: panel.job.active

        Label {
            objectName: "stepText"
            width: parent.width
            text: panel.job.cancelling ? qsTr("Cancelling…")
                : panel.job.state === ExportJob.Preparing ? qsTr("Preparing…")
                : panel.job.state === ExportJob.Syncing ? qsTr("Finishing…") : qsTr("Copying…")
            font.pixelSize: Theme.titleText
            font.weight: Font.Medium
            elide: Text.ElideRight
        }
        Rectangle {
            id: track

            readonly property real value: panel.job.bytesTotal > 0 ? panel.job.bytesDone / panel.job.bytesTotal : 0

            objectName: "progressBar"
            width: parent.width
            height: 10
            radius: height / 2
            color: Theme.line
            Accessible.role: Accessible.ProgressBar
            Accessible.name: progressText.text

            Rectangle {
                anchors { left: parent.left; top: parent.top; bottom: parent.bottom }
                width: Math.max(parent.height, parent.width * Math.min(1, track.value))
                radius: height / 2
                color: Theme.accent
            }
        }
        Caption {
            id: progressText

            objectName: "progressText"
            visible: panel.job.bytesTotal > 0
            text: qsTr("%1 of %2").arg(panel.logExport.textOfSize(panel.job.bytesDone)).arg(panel.logExport.textOfSize(panel.job.bytesTotal))
        }
        Caption {
            text: qsTr("%1 of %n log(s)", "", panel.job.fileCount).arg(panel.job.filesDone)
        }
        Words {
            text: panel.job.state === ExportJob.Syncing ? qsTr("Writing everything to the stick. This can take a minute.")
                                                        : panel.job.currentFile
            wrapMode: panel.job.state === ExportJob.Syncing ? Text.Wrap : Text.NoWrap
            elide: panel.job.state === ExportJob.Syncing ? Text.ElideNone : Text.ElideMiddle
            font.pixelSize: Theme.smallText
        }

        footer: [
            Notice {
                objectName: "stay"
                color: Theme.warningTint
                ink: Theme.warning
                glyph: "alert"
                text: qsTr("Do not remove the stick yet.")
            },
            MainButton {
                id: cancelButton

                objectName: "cancelButton"
                text: qsTr("Cancel")
                enabled: !panel.job.cancelling && panel.job.state !== ExportJob.Syncing
                onClicked: panel.job.cancel()
            }
        ]
    }

    // What came of it.
    PanelPage {
        id: result

        readonly property bool good: panel.job.outcome === ExportJob.Copied
        readonly property bool neutral: panel.job.outcome === ExportJob.Cancelled
        // What befell single files, not the stick.
        readonly property var trouble: panel.job.results.filter(file => [ExportJob.CopyFailed, ExportJob.SourceGone,
                                                                         ExportJob.NotAFile, ExportJob.FileTooLarge].includes(file.outcome))
        readonly property var renamed: panel.job.results.filter(file => file.savedAs && file.savedAs !== file.name)
        readonly property string copiedText: qsTr("%1 of %n log(s) copied.", "", panel.job.fileCount).arg(panel.job.copiedCount)

        objectName: "result"
        visible: panel.job.state === ExportJob.Finished

        Item {
            width: parent.width
            height: Math.max(sign.height, resultTitle.implicitHeight)

            Rectangle {
                id: sign

                anchors { left: parent.left; verticalCenter: parent.verticalCenter }
                width: Theme.compact ? 28 : 36
                height: width
                radius: width / 2
                color: result.good ? Theme.good : result.neutral ? Theme.quietText : Theme.bad

                Glyph {
                    anchors.centerIn: parent
                    width: parent.width * 0.65
                    height: width
                    name: result.good ? "check" : result.neutral ? "cross" : "bang"
                    color: Theme.card
                    stroke: 3
                }
            }
            Label {
                id: resultTitle

                objectName: "resultTitle"
                anchors { left: sign.right; leftMargin: Theme.gap; right: parent.right; verticalCenter: parent.verticalCenter }
                text: switch (panel.job.outcome) {
                      case ExportJob.Copied: return qsTr("Export done")
                      case ExportJob.Cancelled: return qsTr("Cancelled")
                      case ExportJob.DestinationGone: return qsTr("Stick gone")
                      case ExportJob.DestinationReadOnly: return qsTr("Write-protected")
                      case ExportJob.DestinationFull: return qsTr("Not enough space")
                      case ExportJob.SourceGone: return qsTr("Some logs are gone")
                      case ExportJob.NotSynced: return qsTr("Stick failed")
                      case ExportJob.FileTooLarge: return qsTr("Log too large")
                      case ExportJob.NotAFile: return qsTr("Not all copied")
                      default: return qsTr("Copying failed")
                      }
                font.pixelSize: Theme.titleText
                font.weight: Font.Medium
                wrapMode: Text.Wrap
                Accessible.role: Accessible.AlertMessage
            }
        }
        Words {
            objectName: "resultText"
            text: switch (panel.job.outcome) {
                  case ExportJob.Copied: return result.copiedText
                  case ExportJob.Cancelled: return result.copiedText
                  case ExportJob.DestinationGone:
                      return qsTr("The stick was not there, or was removed too early. What is on it may be incomplete: plug it in and export again.")
                  case ExportJob.DestinationReadOnly:
                      return qsTr("Nothing can be written to this stick. Unlock it or take another one.")
                  case ExportJob.DestinationFull:
                      return result.copiedText + " " + (panel.job.bytesNeeded > panel.job.bytesFree
                          ? qsTr("The selection takes %1, the stick has %2 free.").arg(panel.logExport.textOfSize(panel.job.bytesNeeded)).arg(panel.logExport.textOfSize(panel.job.bytesFree))
                          : qsTr("The stick is full."))
                          + " " + qsTr("Select fewer logs, or make room on the stick.")
                  case ExportJob.SourceGone:
                      return result.copiedText + " " + qsTr("The device had already deleted the others.")
                  case ExportJob.NotSynced:
                      return qsTr("The logs could not be written out completely. Export them to another stick.")
                  case ExportJob.FileTooLarge:
                      return result.copiedText + " " + qsTr("This stick's file system holds no files as large as that. Take one formatted with exFAT.")
                  case ExportJob.NotAFile:
                      return result.copiedText + " " + qsTr("The others are no files.")
                  default: return result.copiedText + " " + qsTr("Try again, or take another stick.")
                  }
        }
        Label {
            objectName: "detailText"
            width: parent.width
            visible: text
            text: result.trouble.length > 0 ? qsTr("Not copied:") + "\n" + result.trouble.slice(0, 20).map(file => file.outcome === ExportJob.CopyFailed ? file.name + ": " + file.reason : file.name).join("\n")
                    + (result.trouble.length > 20 ? "\n…" : "")
                : result.renamed.length > 0 ? qsTr("%n kept beside older copies of the same name.", "", result.renamed.length) : ""
            font.pixelSize: Theme.smallText
            color: Theme.quietText
            wrapMode: Text.Wrap
        }

        footer: [
            Notice {
                objectName: "remove"
                visible: panel.job.safeToRemove
                color: Theme.goodTint
                ink: Theme.good
                glyph: "eject"
                text: qsTr("You may remove the stick.")
            },
            MainButton {
                id: okButton

                objectName: "okButton"
                primary: true
                text: qsTr("OK")
                onClicked: panel.job.dismiss()
            }
        ]
    }
}
