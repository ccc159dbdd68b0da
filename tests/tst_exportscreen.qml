// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

import QtQuick 2.15
import QtTest 1.15
import Brindlecast 1.0

Item {
    id: root

    width: 800
    height: 480

    Component {
        id: screenComponent

        LogExportScreen { anchors.fill: parent }
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

        function write(log, size, minutes) { verify(disk.write(logs + "/log-" + log + ".log", size, minutes)) }
        function writeLogs(count, size) {
            for (let i = 0; i < count; ++i)
                write(100 + i, size, i)
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
        function rows(areWanted) {
            const all = [...Array(list().count).keys()].map(row => screen.files.get(row))
            return all.filter(areWanted).map(row => row.file_name.slice(4, 7)).join(" ")
        }
        function rowNames() { return rows(() => true) }
        function marked() { return rows(row => row.selected) }
        function selection() { return text("selectedNumberText") + ", " + text("selectedSizeText") }
        function exportAll() {
            click("allButton")
            click("exportButton")
        }
        function result() {
            tryCompare(item("result"), "visible", true, 20000)
            return ["resultTitle", "resultText", "detailText", "removeText"].map(text)
        }

        function test_selecting() {
            writeLogs(12, 1536)
            open()
            const steps = [["noneButton", "", "0, 0 KB"], ["row0", "111", "1, 1 KB"], ["row2", "111 109", "2, 3 KB"],
                           ["row0", "109", "1, 1 KB"], ["allButton", rowNames(), "12, 18 KB"]]
            for (const [button, names, counters] of steps.concat([steps[0]])) {
                click(button)
                compare([marked(), selection()], [names, counters])
                compare(item("exportButton").enabled, names !== "")
                tryCompare(item("row2"), "marked", names.includes("109"))
            }
        }

        function test_rowsAndSorting() {
            write(100, 3000000, 1)
            write(101, 10, 0)
            write(102, 2048, 2)
            open()
            compare(rowNames(), "102 100 101")
            compare(["nameText", "sizeText", "dateText"].map(name => findChild(item("row1"), name).text),
                    ["log-100.log", "2.9 MB", "16 Nov 2026, 08:01"])
            for (const [order, names] of [[1, "101 100 102"], [2, "100 102 101"], [0, "102 100 101"]]) {
                click("order" + order)
                compare(rowNames(), names)
            }

            // The log in use grows without a report; its row and the total follow, and its mark stays.
            click("row2")
            write(101, 5000, 0)
            tryVerify(() => findChild(item("row2"), "sizeText").text === "4.9 KB", 10000)
            compare(selection(), "1, 4 KB")
        }

        function test_rolledLogKeepsChoiceAndPlace() {
            writeLogs(30, 1024)
            open()
            list().contentY = 600
            for (const row of ["row12", "row13"]) {
                click(row)
                tryCompare(list(), "contentY", 600)
            }
            write(200, 1024, 60)
            tryCompare(list(), "count", 31)
            compare([marked(), selection()], ["117 116", "2, 2 KB"])
            tryCompare(list(), "contentY", 600)

            // Under "All" a log that is new is taken too, but not one that was left out by hand.
            click("allButton")
            tryCompare(list(), "contentY", 600)
            click("row12")
            write(201, 1024, 61)
            tryCompare(list(), "count", 32)
            compare(selection(), "31, 31 KB")
            verify(!marked().includes("118"))
        }

        function test_export() {
            writeLogs(3, 2000)
            verify(disk.write(stick + "/log-101.log", 7, 0))
            open()
            compare(text("destinationText"), stick)
            verify(/^[0-9.]+ [GT]B free$/.test(text("freeText")), text("freeText"))
            exportAll()
            verify(item("copying").visible)
            compare(result(), ["Export done", "3 of 3 logs copied.", "1 kept beside older copies of the same name.",
                               "You may remove the stick."])
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
            const shown = result()
            const names = disk.list(stick)
            verify(names.length >= 3 && names.length < 300, names.length)
            compare(shown, ["Cancelled", names.length + " of 300 logs copied.", "", "You may remove the stick."])
            names.forEach(name => compare(disk.content(stick + "/" + name).length, 5000))
        }

        function test_closingWhileCopying() {
            writeLogs(300, 5000)
            open()
            exportAll()
            tryVerify(() => screen.job.filesDone >= 1)
            view.destroy()
            wait(50)
            const names = disk.list(stick)
            verify(names.length < 300 && names.every(name => name.endsWith(".log")), names)
            wait(100)
            compare(disk.list(stick), names)
        }

        function test_failures_data() {
            return [
                { tag: "full before", options: "size=64k", size: 50000, copied: 0, title: "Not enough space", remove: false },
                { tag: "no more files", options: "size=4m,nr_inodes=3", size: 50000, copied: 2, title: "Not enough space", remove: true },
                { tag: "full half-way", options: "size=8m", size: 30000, count: 200, title: "Not enough space", remove: true,
                  during: () => tryVerify(() => screen.job.filesDone >= 3) || disk.write(stick + "/other.log", 9000000, 0) },
                { tag: "write-protected", options: "size=4m", isProtected: true, size: 50, copied: 0, title: "Write-protected", remove: false },
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
            if (row.options && !disk.mountDisk(row.options, stick, Boolean(row.isProtected)))
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
            const [title, , detail, remove] = result()
            compare([title, remove !== ""], [row.title, row.remove])
            const left = disk.list(stick)
            verify(left.every(name => name.endsWith(".log")), left)
            if (row.copied !== undefined)
                compare([detail, left.length], [row.detail || "", row.copied])
            click("okButton")
            verify(item("choosing").visible)
        }

        function test_nothingThere() {
            disk.remove(stick)
            disk.remove(logs)
            open()
            compare([text("emptyTitle"), text("destinationText")], ["The log folder is missing", "No memory stick"])
            verify(text("noDestinationText").startsWith("Plug in the stick"))

            verify(disk.makePath(logs) && disk.makePath(stick))
            tryVerify(() => text("emptyTitle") === "No logs yet")
            tryVerify(() => text("destinationText") === stick)
            write(100, 10, 0)
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
            compare([text("destinationText"), text("noDestinationText")],
                    ["No memory stick", "Plug one in. It is found by itself within a few seconds."])
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
            disk.log("said while logging is off")

            // The next file has another name only in another second.
            wait(1100)
            const newest = () => screen.files.get(0).file_name
            const before = newest()
            click("loggingSwitch")
            compare(text("loggingText"), "Logging on")
            disk.log("said while logging is on")
            verify(disk.flushLog())
            tryVerify(() => newest() !== before)
            const said = disk.content(disk.logDirectory + newest())
            verify(said.includes("said while logging is on") && !said.includes("said while logging is off"), said)

            // What has been said by now is in the copy, although much of it is still on its way to the file.
            click("row0")
            for (let i = 0; i < 20000; ++i)
                disk.log("said before the export")
            click("exportButton")
            compare(result()[0], "Export done")
            compare(disk.content(stick + "/" + disk.list(stick)[0]).split("said before the export").length, 20001)
            click("loggingSwitch")
        }
    }
}
