// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtTest 1.15
import Brindlecast.ExportScreen 1.0
import "qrc:/export-screen"

Item {
    id: root

    width: 800
    height: 480

    Component {
        id: screenComponent

        ExportScreen {
            id: exportScreen

            anchors.fill: parent
            screen: LogScreen { id: backEnd }
        }
    }

    TestCase {
        id: test

        property var view // the ExportScreen
        property var screen // its LogScreen
        property string logs
        property string stick

        name: "ExportScreen"
        when: windowShown

        function init() {
            logs = disk.makeFolder()
            stick = disk.makeFolder()
        }

        function cleanup() {
            if (view)
                view.destroy()
            view = null
            wait(0)
        }

        function writeLogs(count, size) {
            for (let i = 0; i < count; ++i)
                verify(disk.write(logs + "/log-" + (100 + i) + ".log", size, i))
        }

        function open() {
            view = createTemporaryObject(screenComponent, root)
            screen = view.screen
            screen.logFolder = logs
            screen.destination = stick
            waitForRendering(view)
        }

        function item(name) {
            const found = findChild(view, name)
            verify(found, name)
            return found
        }
        function text(name) { return item(name).visible ? item(name).text : "" }
        function click(name) { mouseClick(item(name)) }
        function list() { return item("logList") }
        function rowNames() {
            const names = []
            for (let i = 0; i < list().count; ++i)
                names.push(screen.files.get(i).file_name.slice(4, 7))
            return names.join(" ")
        }
        function marked() {
            const names = []
            for (let i = 0; i < list().count; ++i)
                if (screen.files.get(i).selected)
                    names.push(screen.files.get(i).file_name.slice(4, 7))
            return names.join(" ")
        }
        function exportAll() {
            click("allButton")
            click("exportButton")
        }

        function test_selecting() {
            writeLogs(12, 1536)
            open()
            compare(text("selectedNumberText"), "0")
            verify(!item("exportButton").enabled)

            click("row0")
            click("row2")
            compare(marked(), "111 109")
            compare(text("selectedNumberText") + ", " + text("selectedSizeText"), "2, 3 KB")
            tryCompare(item("row2"), "marked", true)
            verify(item("exportButton").enabled)

            click("row0")
            compare(text("selectedNumberText"), "1")
            click("allButton")
            compare(text("selectedNumberText") + ", " + text("selectedSizeText"), "12, 18 KB")
            tryCompare(item("row1"), "marked", true)
            click("noneButton")
            compare(marked(), "")
            verify(!item("exportButton").enabled)
        }

        function test_rowsAndSorting() {
            verify(disk.write(logs + "/log-100.log", 3000000, 1))
            verify(disk.write(logs + "/log-101.log", 10, 0))
            verify(disk.write(logs + "/log-102.log", 2048, 2))
            open()
            compare(rowNames(), "102 100 101")
            const row = item("row1")
            compare(findChild(row, "nameText").text, "log-100.log")
            compare(findChild(row, "sizeText").text, "2.9 MB")
            compare(findChild(row, "dateText").text, "16 Nov 2026, 08:01")
            click("order1")
            compare(rowNames(), "101 100 102")
            click("order2")
            compare(rowNames(), "100 102 101")
            click("order0")
            compare(rowNames(), "102 100 101")

            // The log in use grows without a report; its row and the total follow, and its mark stays.
            click("row2")
            verify(disk.write(logs + "/log-101.log", 5000, 0))
            tryVerify(() => findChild(item("row2"), "sizeText").text === "4.9 KB", 10000)
            compare(text("selectedNumberText") + ", " + text("selectedSizeText"), "1, 4 KB")
        }

        function test_rolledLogKeepsChoiceAndPlace() {
            writeLogs(30, 1024)
            open()
            list().contentY = 600
            for (const row of ["row12", "row13"]) {
                click(row)
                tryCompare(list(), "contentY", 600)
            }
            verify(disk.write(logs + "/log-200.log", 1024, 60))
            tryCompare(list(), "count", 31)
            compare(marked(), "117 116")
            compare(text("selectedNumberText"), "2")
            tryCompare(list(), "contentY", 600)

            // Under "All" a log that is new is taken too, but not one that was left out by hand.
            click("allButton")
            tryCompare(list(), "contentY", 600)
            click("row12")
            verify(disk.write(logs + "/log-201.log", 1024, 61))
            tryCompare(list(), "count", 32)
            compare(text("selectedNumberText"), "31")
            verify(!marked().includes("118"))
        }

        function test_manyLogsAreMarkedAtOnce() {
            // Some 50 ms; 4 s if the view followed every mark.
            writeLogs(1500, 1)
            open()
            const begin = Date.now()
            click("allButton")
            compare(text("selectedNumberText"), "1500")
            verify(Date.now() - begin < 1500, Date.now() - begin)
        }

        function test_export() {
            writeLogs(3, 2000)
            verify(disk.write(stick + "/log-101.log", 7, 0))
            open()
            compare(text("destinationText"), stick)
            verify(/^[0-9.]+ [GT]B free$/.test(text("freeText")), text("freeText"))
            exportAll()
            verify(item("copying").visible)
            tryCompare(item("result"), "visible", true)
            compare(text("resultTitle"), "Export done")
            compare(text("resultText"), "3 of 3 logs copied.")
            compare(text("detailText"), "1 kept beside older copies of the same name.")
            compare(text("removeText"), "You may remove the stick.")
            compare(disk.list(stick), ["log-100.log", "log-101-2.log", "log-101.log", "log-102.log"])
            compare(disk.content(stick + "/log-101.log"), "xxxxxxx")
            compare(disk.content(stick + "/log-101-2.log"), disk.content(logs + "/log-101.log"))
            click("okButton")
            verify(item("choosing").visible)
            compare(text("selectedNumberText"), "3")
        }

        function test_cancelHalfWay() {
            writeLogs(300, 5000)
            open()
            exportAll()
            tryVerify(() => screen.job.filesDone >= 3)
            click("cancelButton")
            compare(text("stepText"), "Cancelling…")
            tryCompare(item("result"), "visible", true)
            const copied = screen.job.copiedCount
            verify(copied >= 3 && copied < 300, copied)
            compare(text("resultTitle"), "Cancelled")
            compare(text("resultText"), copied + " of 300 logs copied.")
            compare(text("removeText"), "You may remove the stick.")
            const names = disk.list(stick)
            compare(names.length, copied)
            names.forEach(name => compare(disk.content(stick + "/" + name).length, 5000))
        }

        function test_closingWhileCopying() {
            writeLogs(300, 5000)
            open()
            exportAll()
            tryVerify(() => screen.job.filesDone >= 1)
            view.destroy()
            wait(50)
            view = screenComponent.createObject(root)
            const names = disk.list(stick)
            verify(names.length > 0 && names.length < 300, names.length)
            verify(names.every(name => name.endsWith(".log")), names)
            wait(100)
            compare(disk.list(stick).length, names.length)
        }

        function test_failures_data() {
            return [
                { tag: "full before", options: "size=64k", size: 50000, copied: 0, title: "Not enough space", remove: false },
                { tag: "no more files", options: "size=4m,nr_inodes=3", size: 50000, copied: 2, title: "Not enough space", remove: true },
                { tag: "full half-way", options: "size=8m", size: 30000, count: 200, title: "Not enough space", remove: true,
                  during: () => tryVerify(() => screen.job.filesDone >= 3) || disk.write(stick + "/other.log", 9000000, 0) },
                { tag: "write-protected", options: "size=4m", size: 50, copied: 0, title: "Write-protected", remove: false,
                  before: () => verify(disk.protectDisk(stick)) },
                { tag: "gone before", size: 50, copied: 0, title: "Stick gone", remove: false,
                  before: () => verify(disk.remove(stick)) },
                // The copy may put one more file into the folder while it is being removed.
                { tag: "gone half-way", size: 50, count: 200, title: "Stick gone", remove: false,
                  during: () => tryVerify(() => screen.job.filesDone >= 3) || tryVerify(() => disk.remove(stick)) },
                { tag: "log gone", size: 50, copied: 2, title: "Some logs are gone", remove: true, detail: "Not copied:\nlog-101.log",
                  before: () => verify(disk.remove(logs + "/log-101.log")) }
            ]
        }

        function test_failures(row) {
            if (row.options && !disk.mountDisk(row.options, stick))
                skip("this machine does not let the test mount a small disk")
            writeLogs(row.count || 3, row.size)
            open()
            click("allButton")
            if (row.before)
                row.before()
            // As the button does, but before the screen has had the time to notice.
            screen.exportSelected()
            if (row.during)
                row.during()
            tryCompare(item("result"), "visible", true, 20000)
            compare(text("resultTitle"), row.title)
            compare(text("removeText") !== "", row.remove)
            if (row.copied !== undefined)
                compare(text("detailText"), row.detail || "")
            const left = disk.list(stick)
            verify(left.every(name => name.endsWith(".log")), left)
            if (row.copied !== undefined)
                compare(left.length, row.copied)
            click("okButton")
            verify(item("choosing").visible)
        }

        function test_nothingThere() {
            disk.remove(stick)
            disk.remove(logs)
            open()
            compare(text("emptyTitle"), "The log folder is missing")
            compare(text("destinationText"), "No memory stick")
            verify(text("noDestinationText").startsWith("Plug in the stick"))

            verify(disk.makePath(logs) && disk.makePath(stick))
            tryVerify(() => text("emptyTitle") === "No logs yet")
            tryVerify(() => text("destinationText") === stick)
            verify(disk.write(logs + "/log-100.log", 10, 0))
            tryVerify(() => list().visible && list().count === 1)
            waitForRendering(view)
            click("row0")
            verify(item("exportButton").enabled)
            verify(disk.remove(stick))
            tryVerify(() => !item("exportButton").enabled)
        }

        function test_stickIsFoundByItself() {
            stick = ""
            if (!disk.mountDisk("size=1m", "/media"))
                skip("this machine does not let the test mount a disk on /media")
            open()
            compare(text("destinationText"), "No memory stick")
            compare(text("noDestinationText"), "Plug one in. It is found by itself within a few seconds.")
            verify(disk.makePath("/media/STICK") && disk.mountDisk("size=8m", "/media/STICK"))
            tryVerify(() => text("destinationText") === "/media/STICK")
            compare(text("freeText"), "8.0 MB free")
        }

        function test_logging() {
            open()
            screen.logFolder = disk.logDirectory
            waitForRendering(view)
            compare(text("loggingText"), "Logging on")
            click("loggingSwitch")
            compare(text("loggingText"), "Logging off")
            disk.log("said while logging is off", 1)

            // The next file has another name only in another second.
            wait(1100)
            const newest = () => screen.files.get(0).file_name
            const before = newest()
            click("loggingSwitch")
            compare(text("loggingText"), "Logging on")
            disk.log("said while logging is on", 1)
            verify(disk.flushLog())
            tryVerify(() => newest() !== before)
            const said = disk.content(disk.logDirectory + newest())
            verify(said.includes("said while logging is on"))
            verify(!said.includes("said while logging is off"))

            // What has been said by now is in the copy, although much of it is still on its way to the file.
            click("row0")
            disk.log("said before the export", 20000)
            click("exportButton")
            tryCompare(item("result"), "visible", true, 20000)
            compare(text("resultTitle"), "Export done")
            compare(disk.content(stick + "/" + disk.list(stick)[0]).split("said before the export").length, 20001)
            click("loggingSwitch")
        }
    }
}
