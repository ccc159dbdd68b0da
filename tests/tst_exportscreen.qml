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

        property var view // the LogExportScreen
        property var screen // its LogExport
        property string logs
        property string stick

        name: "ExportScreen"
        when: windowShown

        function init() {
            logs = disk.makeFolder()
            stick = disk.makeFolder()
            root.width = 800
            root.height = 480
            Theme.textScale = 1
        }

        function write(log, size, minutes) { verify(disk.write(logs + "/log-" + log + ".log", size, minutes)) }
        function writeLogs(count, size) {
            for (let i = 0; i < count; ++i)
                write(100 + i, size, i)
        }

        function open() {
            view = createTemporaryObject(screenComponent, root, { logFolder: logs, destination: stick })
            screen = view.logExport
            waitForRendering(view)
        }

        function item(name) {
            tryVerify(() => findChild(view, name) !== null, 5000, name)
            return findChild(view, name)
        }
        function text(name) { return item(name).visible ? item(name).text : "" }
        function click(name) { mouseClick(item(name)) }
        function part(row, name) { return findChild(item("row" + row), name) }
        function mark(row) { mouseClick(part(row, "mark")) }
        function list() { return item("logList") }
        function rows(areWanted) {
            const all = [...Array(list().count).keys()].filter(areWanted)
            return all.map(row => screen.files.nameAt(row).slice(4, 7)).join(" ")
        }
        function rowNames() { return rows(() => true) }
        function marked() { return rows(row => screen.files.isMarkedAt(row)) }
        function selection() { return text("selectedNumberText") + ", " + text("selectedSizeText") }
        function exportAll() {
            click("allBox")
            click("exportButton")
        }
        function result() {
            tryCompare(item("result"), "visible", true, 20000)
            return ["resultTitle", "resultText", "detailText", "removeText"].map(text)
        }

        function test_rowsAndSorting() {
            write(100, 3000000, 1)
            write(101, 10, 0)
            write(102, 2048, 2)
            open()
            compare(rowNames(), "102 100 101")
            compare(["nameText", "sizeText", "dateText"].map(name => part(1, name).text),
                    ["log-100.log", "2.9 MB", "16 Nov 2026, 08:01"])
            for (const [order, names] of [[1, "101 100 102"], [2, "100 102 101"], [0, "102 100 101"]]) {
                click("option" + order)
                compare(rowNames(), names)
            }

            // The log in use grows without a report; its row and the total follow, and its mark stays.
            mark(2)
            write(101, 5000, 0)
            tryVerify(() => part(2, "sizeText").text === "5 KB", 10000)
            compare(selection(), "1, 5 KB")
        }

        function test_rolledLogKeepsChoiceAndPlace() {
            writeLogs(30, 1024)
            open()
            list().contentY = 600
            waitForRendering(view)
            const top = () => list().itemAt(10, list().contentY + 10).name
            const before = top()
            for (const row of [12, 13])
                mark(row)
            compare(top(), before)
            write(200, 1024, 60)
            tryCompare(list(), "count", 31)
            verify(disk.remove(logs + "/log-100.log"))
            tryCompare(list(), "count", 30)
            compare([marked(), selection()], ["117 116", "2, 2 KB"])
            tryVerify(() => top() === before)
        }

        function keysAreOn(name) {
            const target = findChild(view, name)
            return target && (target.visualFocus || (name === "logList" && target.activeFocus))
        }
        function pressUntil(key, name) {
            for (let i = 0; i < 20 && !keysAreOn(name); ++i)
                keyClick(key)
            verify(keysAreOn(name), name)
        }

        // A knob sends Tab, Enter and arrows.
        function test_keysAlone_data() {
            return [{ tag: "by Tab", next: Qt.Key_Tab }, { tag: "by arrows", next: Qt.Key_Down },
                    { tag: "from right to left", next: Qt.Key_Left, mirrored: true }]
        }
        function test_keysAlone(row) {
            writeLogs(3, 1024)
            open()
            if (row.mirrored)
                view.LayoutMirroring.enabled = true
            const [toName, toBox] = row.mirrored ? [Qt.Key_Left, Qt.Key_Right] : [Qt.Key_Right, Qt.Key_Left]
            pressUntil(row.next, "logList")
            verify(item("row0").keysOnBox)
            keyClick(Qt.Key_Return)
            keyClick(Qt.Key_Down)
            keyClick(Qt.Key_Enter)
            compare([marked(), selection()], ["102 101", "2, 2 KB"])
            verify(item("row1").keysOnBox)

            keyClick(toName)
            verify(item("row1").keysOnName)
            keyClick(Qt.Key_Return)
            tryVerify(() => findChild(view, "lines") !== null)
            compare(text("viewTitle"), "log-101.log")
            keyClick(Qt.Key_Escape)
            tryVerify(() => item("row1").keysOnName)
            keyClick(toBox)

            // Past the end of the list.
            keyClick(Qt.Key_Down)
            pressUntil(row.next === Qt.Key_Down ? Qt.Key_Down : Qt.Key_Tab, "exportButton")
            keyClick(Qt.Key_Return)
            tryVerify(() => keysAreOn("okButton"), 20000)
            compare(disk.list(stick).length, 2)
            keyClick(Qt.Key_Return)
            tryVerify(() => keysAreOn("exportButton"))
        }

        function test_lookIntoALog() {
            const stamp = "[2026-11-16 08:00:0"
            const lines = [stamp + "1] <Other:> main.cpp 1: <b>up</b>", stamp + "2] <Warning:> main.cpp 2: warm",
                           stamp + "3] <Critical:> main.cpp 3: hot"]
            const path = logs + "/log-100.log"
            verify(disk.append(path, lines.join("\n\n") + "\n\n"))
            open()
            mouseClick(part(0, "open"))
            const view = () => item("lines")
            const shown = () => [...Array(view().count).keys()].map(row => findChild(view().itemAtIndex(row), "lineText").text)
            tryVerify(() => findChild(test.view, "lines") && view().count === 3)
            tryVerify(() => shown().join() === "<b>up</b>,warm,hot")
            verify(!item("list").visible)
            for (const [option, texts] of [[1, "warm,hot"], [2, "hot"], [0, "<b>up</b>,warm,hot"]]) {
                mouseClick(findChild(item("levelChoice"), "option" + option))
                tryVerify(() => shown().join() === texts)
            }

            // It stays at the end while the log grows, until someone goes back to older lines.
            const grow = () => verify(disk.append(path, Array(50).fill(lines[0] + "\n\n").join("")))
            grow()
            tryVerify(() => view().count === 53 && view().atYEnd)
            mouseDrag(view(), 100, 100, 0, 200)
            tryCompare(item("followButton"), "checked", false)
            grow()
            tryCompare(view(), "count", 103)
            verify(!view().atYEnd)
            click("followButton")
            tryVerify(() => view().atYEnd)

            click("backButton")
            tryVerify(() => item("list").visible)
            compare(marked(), "")
        }

        function all(from, isWanted) {
            const found = isWanted(from) ? [from] : []
            for (let i = 0; i < from.children.length; ++i)
                if (from.children[i].visible)
                    found.push(...all(from.children[i], isWanted))
            return found
        }
        // The part of an item that is not cut off by those around it.
        function seen(item) {
            let part = item.mapToItem(view, 0, 0, item.width, item.height)
            for (let around = item.parent; around && around !== view; around = around.parent) {
                if (!around.clip)
                    continue
                const hole = around.mapToItem(view, 0, 0, around.width, around.height)
                const top = Math.max(part.top, hole.top)
                part = Qt.rect(part.x, top, part.width, Math.min(part.bottom, hole.bottom) - top)
            }
            return part
        }
        // What is wrong with the layout, or an empty text.
        function layoutFault() {
            const texts = all(view, item => item.textFormat !== undefined && item.text)
            const places = texts.map(seen)
            const common = (low, high, otherLow, otherHigh) => Math.min(high, otherHigh) - Math.max(low, otherLow)
            for (let i = 0; i < texts.length; ++i) {
                const [text, place] = [texts[i], places[i]]
                if (text.textFormat !== Text.PlainText)
                    return text.text + " may be taken for HTML"
                if (text.contentWidth > text.width + 1)
                    return text.text + " is wider than its place"
                if (place.left < 0 || place.right > view.width || place.bottom > view.height)
                    return text.text + " is out of sight"
                const under = places.findIndex((other, j) => j > i && common(place.left, place.right, other.left, other.right) > 1
                    && common(place.top, place.bottom, other.top, other.bottom) > 1)
                if (under >= 0)
                    return text.text + " lies over " + texts[under].text
            }
            for (const button of all(view, item => item.visualFocus !== undefined)) {
                if (!button.Accessible.name || button.Accessible.role === Accessible.NoRole)
                    return button + " has no name or role"
                if (button.width < 40 || button.height < 40)
                    return button + " is too small for a finger"
            }
            return texts.length > 3 ? "" : "hardly any text"
        }
        function checkLayout(situation) {
            let fault = ""
            for (let tries = 0; tries < 50 && (tries === 0 || fault); ++tries) {
                waitForRendering(view, 20)
                fault = layoutFault()
            }
            compare(fault, "", situation)
        }

        function test_layout_data() {
            const rows = []
            for (const [width, height] of [[480, 272], [800, 480], [1024, 600], [1280, 800], [480, 800]])
                for (const [scale, mirrored] of [[1, false], [1.5, false], [1.5, true]])
                    rows.push({ tag: width + "x" + height + " at " + scale + (mirrored ? " mirrored" : ""), width, height, scale, mirrored })
            return rows
        }
        function test_layout(row) {
            root.width = row.width
            root.height = row.height
            Theme.textScale = row.scale
            Theme.compact = row.height < 400
            stick += "/a stick with a long name/and a folder for the northern region/of the service"
            verify(disk.makePath(stick))
            write("of a machine with a very long name <b>in bold, station 17, hall 4, conveyor 3, motor 12", 5000, 60)
            writeLogs(20, 3000)
            open()
            view.LayoutMirroring.enabled = row.mirrored
            checkLayout("nothing selected")
            screen.selectAll()
            checkLayout("all selected")
            screen.destination = "/nowhere/to/be/found/on/this/device"
            checkLayout("no stick")
            screen.destination = stick
            screen.exportSelected()
            checkLayout("copying")
            result()
            checkLayout("done")
            screen.job.dismiss()
            item("list").opened("log-100.log")
            tryVerify(() => findChild(view, "lines") && findChild(view, "lines").count > 0)
            checkLayout("looking into a log")
        }

        function test_language() {
            open()
            const german = Qt.locale().name.startsWith("de")
            compare([text("title"), text("loggingText")],
                    german ? ["Logs exportieren", "Logging an"] : ["Log export", "Logging on"])
        }

        function test_export() {
            writeLogs(3, 2000)
            verify(disk.write(stick + "/log-101.log", 7, 0))
            open()
            compare(text("destinationText"), stick)
            exportAll()
            verify(item("copying").visible)
            compare(result(), ["Export done", "3 of 3 logs copied.", "1 kept beside an older copy of the same name.",
                               "You may remove the stick."])
            compare(disk.list(stick), ["log-100.log", "log-101-2.log", "log-101.log", "log-102.log"])
            click("okButton")
            verify(item("choosing").visible)
            compare(text("selectedNumberText"), "3")
        }

        function test_failures_data() {
            const removeLog = () => disk.remove(logs + "/log-101.log")
            return [
                { tag: "full before", disk: "size=64k", size: 50000, shown: ["Not enough space", "", ""] },
                { tag: "full half-way", disk: "size=4m,nr_inodes=3", copied: 2, shown: ["Not enough space", "", "You may remove the stick."] },
                { tag: "write-protected", disk: "size=4m", isProtected: true, shown: ["Write-protected", "", ""] },
                { tag: "stick gone", before: () => disk.remove(stick), shown: ["Stick gone", "", ""] },
                { tag: "log gone", before: removeLog, copied: 2, shown: ["Some logs are gone", "Not copied:\nlog-101.log", "You may remove the stick."] }
            ]
        }
        function test_failures(row) {
            if (row.disk && !disk.mountDisk(row.disk, stick, Boolean(row.isProtected)))
                skip("this machine does not let the test mount a small disk")
            writeLogs(3, row.size || 50)
            open()
            click("allBox")
            verify(!row.before || row.before())
            // As the button does, but before the screen has had the time to notice.
            screen.exportSelected()
            const [title, , detail, remove] = result()
            compare([title, detail, remove], row.shown)
            compare(disk.list(stick).length, row.copied || 0)
            // The screen looks for the stick anew, and is right about it.
            compare(screen.destinationFolder === "", title === "Stick gone")
            click("okButton")
            verify(item("choosing").visible)
        }

        function test_nothingThere() {
            verify(disk.remove(stick) && disk.remove(logs))
            open()
            compare([text("emptyTitle"), text("destinationText")], ["The log folder is missing", "No memory stick"])
            verify(text("noDestinationText").startsWith("Plug in the stick"))

            verify(disk.makePath(logs) && disk.makePath(stick))
            tryVerify(() => text("emptyTitle") === "No logs yet")
            tryVerify(() => text("destinationText") === stick)
            write(100, 10, 0)
            tryVerify(() => list().visible && list().count === 1)
            waitForRendering(view)
            mark(0)
            // The empty mount point of a stick is none.
            view.destinationMustBeVolume = true
            compare([item("exportButton").enabled, text("destinationText")], [false, "No memory stick"])
            view.destinationMustBeVolume = false
            compare(item("exportButton").enabled, true)
        }

        function test_logging() {
            open()
            screen.logFolder = disk.logDirectory
            waitForRendering(view)
            const before = screen.files.nameAt(0)
            for (const now of ["off", "on"]) {
                click("loggingSwitch")
                compare(text("loggingText"), "Logging " + now)
                disk.log("said while logging is " + now)
                wait(1100) // The next file has another name only in another second.
            }
            verify(disk.flushLog())
            tryVerify(() => screen.files.nameAt(0) !== before)
            const said = disk.content(disk.logDirectory + screen.files.nameAt(0)).match(/said while [a-z ]*/g)
            compare(said, ["said while logging is on"])

            // What has been said by now is in the copy, although much of it is still on its way to the file.
            mark(0)
            for (let i = 0; i < 20000; ++i)
                disk.log("said before the export")
            click("exportButton")
            compare(result()[0], "Export done")
            compare(disk.content(stick + "/" + disk.list(stick)[0]).split("said before the export").length, 20001)
            click("loggingSwitch")
        }
    }
}
