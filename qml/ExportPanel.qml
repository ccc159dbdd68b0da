// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtQuick.Layouts 1.15
import Brindlecast 1.0

// Where the selection goes, and how the export is getting on.
Rectangle {
    id: panel

    required property var screen
    readonly property var job: screen.job

    radius: Theme.radius
    color: Theme.card

    component Caption: Text {
        font.pixelSize: Theme.smallText
        color: Theme.quietText
        elide: Text.ElideRight
    }
    component Words: Text {
        Layout.fillWidth: true
        font.pixelSize: Theme.bodyText
        color: Theme.text
        wrapMode: Text.Wrap
    }

    // What is selected and where it would go.
    ColumnLayout {
        objectName: "choosing"
        anchors.fill: parent
        anchors.margins: 16
        spacing: 6
        visible: panel.job.state === ExportJob.Idle

        Caption { text: qsTr("Copy to") }
        RowLayout {
            spacing: 10

            Glyph {
                Layout.preferredWidth: 30
                Layout.preferredHeight: 30
                name: "stick"
                color: panel.screen.destinationFound ? Theme.accent : Theme.warning
            }
            ColumnLayout {
                spacing: 0

                Text {
                    objectName: "destinationText"
                    Layout.fillWidth: true
                    text: panel.screen.destinationFound ? panel.screen.destinationFolder : qsTr("No memory stick")
                    font.pixelSize: Theme.bodyText
                    font.weight: Font.Medium
                    color: panel.screen.destinationFound ? Theme.text : Theme.warning
                    elide: Text.ElideMiddle
                }
                Text {
                    objectName: "freeText"
                    Layout.fillWidth: true
                    visible: panel.screen.destinationFound
                    text: qsTr("%1 free").arg(panel.screen.freeSpaceStr)
                    font.pixelSize: Theme.smallText
                    color: panel.screen.selectionFits ? Theme.quietText : Theme.warning
                }
            }
        }
        Words {
            objectName: "noDestinationText"
            visible: !panel.screen.destinationFound
            text: panel.screen.destination
                  ? qsTr("Plug in the stick that holds %1. It is found by itself.").arg(panel.screen.destination)
                  : qsTr("Plug one in. It is found by itself within a few seconds.")
            font.pixelSize: Theme.smallText
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: 8
            Layout.bottomMargin: 8
            height: 1
            color: Theme.line
        }

        Caption { text: qsTr("Selected") }
        RowLayout {
            spacing: 8

            Text {
                objectName: "selectedNumberText"
                text: panel.screen.logs.selectedNumberStr
                font.pixelSize: Theme.numberText
                font.weight: Font.Medium
                color: panel.screen.logs.enableExport ? Theme.accent : Theme.quietText
            }
            Text {
                Layout.alignment: Qt.AlignBaseline
                text: panel.screen.logs.selectedNumberStr === "1" ? qsTr("log") : qsTr("logs")
                font.pixelSize: Theme.titleText
                color: Theme.quietText
            }
            Item { Layout.fillWidth: true }
            Text {
                objectName: "selectedSizeText"
                Layout.alignment: Qt.AlignBaseline
                text: panel.screen.logs.selectedFileSizeStr
                font.pixelSize: Theme.bodyText
                color: Theme.text
            }
        }

        Item { Layout.fillHeight: true }

        Words {
            objectName: "hintText"
            Layout.bottomMargin: 6
            text: !panel.screen.logs.enableExport ? (panel.screen.files.count > 0 ? qsTr("Tap the logs that you want to copy.") : "")
                : panel.screen.destinationFound && !panel.screen.selectionFits ? qsTr("This is more than fits on the stick.") : ""
            color: panel.screen.logs.enableExport ? Theme.warning : Theme.quietText
            horizontalAlignment: Text.AlignHCenter
        }
        TouchButton {
            objectName: "exportButton"
            Layout.fillWidth: true
            Layout.preferredHeight: 64
            primary: true
            font.pixelSize: Theme.titleText
            text: qsTr("Export")
            enabled: panel.screen.logs.enableExport && panel.screen.logFolderFound && panel.screen.destinationFound
            onClicked: panel.screen.exportSelected()
        }
    }

    // While it copies.
    ColumnLayout {
        objectName: "copying"
        anchors.fill: parent
        anchors.margins: 16
        spacing: 10
        visible: panel.job.active

        Text {
            objectName: "stepText"
            text: panel.job.cancelling ? qsTr("Cancelling…")
                : panel.job.state === ExportJob.Preparing ? qsTr("Preparing…")
                : panel.job.state === ExportJob.Syncing ? qsTr("Finishing…") : qsTr("Copying…")
            font.pixelSize: Theme.titleText
            font.weight: Font.Medium
            color: Theme.text
        }
        Rectangle {
            id: track

            objectName: "progressBar"
            readonly property real value: panel.job.fileCount > 0 ? panel.job.filesDone / panel.job.fileCount : 0

            Layout.fillWidth: true
            Layout.topMargin: 6
            height: 14
            radius: 7
            color: Theme.line

            Rectangle {
                width: Math.max(parent.height, parent.width * track.value)
                height: parent.height
                radius: 7
                color: Theme.accent
            }
        }
        Caption {
            objectName: "progressText"
            text: qsTr("%1 of %2 logs").arg(panel.job.filesDone).arg(panel.job.fileCount)
        }
        Words {
            Layout.topMargin: 6
            text: panel.job.state === ExportJob.Syncing ? qsTr("Writing everything to the stick. This can take a minute.")
                                                        : panel.job.currentFile
            wrapMode: Text.WrapAnywhere
            font.pixelSize: Theme.smallText
        }
        Item { Layout.fillHeight: true }
        RowLayout {
            spacing: 8

            Glyph {
                name: "alert"
                color: Theme.warning
            }
            Words {
                text: qsTr("Do not remove the stick yet.")
                color: Theme.warning
                font.pixelSize: Theme.smallText
            }
        }
        TouchButton {
            objectName: "cancelButton"
            Layout.fillWidth: true
            Layout.preferredHeight: 64
            font.pixelSize: Theme.titleText
            text: qsTr("Cancel")
            enabled: !panel.job.cancelling && panel.job.state !== ExportJob.Syncing
            onClicked: panel.job.cancel()
        }
    }

    // What came of it.
    ColumnLayout {
        id: result

        readonly property bool good: panel.job.outcome === ExportJob.Copied
        readonly property bool neutral: panel.job.outcome === ExportJob.Cancelled
        readonly property var trouble: panel.job.results.filter(
            file => file.outcome === ExportJob.CopyFailed || file.outcome === ExportJob.SourceGone)
        readonly property var renamed: panel.job.results.filter(file => file.savedAs && file.savedAs !== file.name)
        readonly property string copiedText: qsTr("%1 of %2 logs copied.").arg(panel.job.copiedCount).arg(panel.job.fileCount)

        objectName: "result"
        anchors.fill: parent
        anchors.margins: 16
        spacing: 10
        visible: panel.job.state === ExportJob.Finished

        RowLayout {
            spacing: 10

            Rectangle {
                Layout.preferredWidth: 40
                Layout.preferredHeight: 40
                radius: 20
                color: result.good ? Theme.good : result.neutral ? Theme.quietText : Theme.bad

                Glyph {
                    anchors.centerIn: parent
                    name: result.good ? "check" : result.neutral ? "cross" : "bang"
                    color: "white"
                    stroke: 2.5
                }
            }
            Text {
                objectName: "resultTitle"
                Layout.fillWidth: true
                text: switch (panel.job.outcome) {
                      case ExportJob.Copied: return qsTr("Export done")
                      case ExportJob.Cancelled: return qsTr("Cancelled")
                      case ExportJob.DestinationGone: return qsTr("Stick gone")
                      case ExportJob.DestinationReadOnly: return qsTr("Write-protected")
                      case ExportJob.DestinationFull: return qsTr("Not enough space")
                      case ExportJob.SourceGone: return qsTr("Some logs are gone")
                      case ExportJob.NotSynced: return qsTr("Stick failed")
                      default: return qsTr("Copying failed")
                      }
                font.pixelSize: Theme.titleText
                font.weight: Font.Medium
                color: Theme.text
                wrapMode: Text.Wrap
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
                          ? qsTr("The selection takes %1, the stick has %2 free.").arg(panel.screen.sizeText(panel.job.bytesNeeded)).arg(panel.screen.sizeText(panel.job.bytesFree))
                          : qsTr("The stick is full."))
                          + " " + qsTr("Select fewer logs, or make room on the stick.")
                  case ExportJob.SourceGone:
                      return result.copiedText + " " + qsTr("The device had already deleted the others.")
                  case ExportJob.NotSynced:
                      return qsTr("The logs could not be written out completely. Export them to another stick.")
                  default: return result.copiedText + " " + qsTr("Try again, or take another stick.")
                  }
        }
        Caption {
            objectName: "detailText"
            Layout.fillWidth: true
            visible: text
            text: result.trouble.length > 0 ? qsTr("Not copied:") + "\n" + result.trouble.map(file => file.name).join("\n")
                : result.renamed.length > 0 ? qsTr("%1 kept beside older copies of the same name.").arg(result.renamed.length) : ""
            wrapMode: Text.Wrap
            maximumLineCount: 4
        }
        Item { Layout.fillHeight: true }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: removable.implicitHeight + 24
            radius: Theme.radius
            color: Theme.goodTint
            visible: panel.job.safeToRemove

            RowLayout {
                id: removable

                anchors { left: parent.left; right: parent.right; margins: 12; verticalCenter: parent.verticalCenter }
                spacing: 10

                Glyph {
                    name: "eject"
                    color: Theme.good
                }
                Words {
                    objectName: "removeText"
                    text: qsTr("You may remove the stick.")
                    color: Theme.good
                    font.weight: Font.Medium
                }
            }
        }
        TouchButton {
            objectName: "okButton"
            Layout.fillWidth: true
            Layout.preferredHeight: 64
            primary: true
            font.pixelSize: Theme.titleText
            text: qsTr("OK")
            onClicked: panel.job.dismiss()
        }
    }
}
