# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

SUMMARY = "Logging and log export for Qt devices"
DESCRIPTION = "Writes the Qt messages of a host to rolling log files, from a thread of its own, and offers the list \
models, utilities and QML types of a log-export screen."
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSES/MIT.txt;md5=1d1d6b8bb71ce4deccaa65c94b665922"

# What a product may choose, in local.conf or its distribution.
BRINDLECAST_QT_MAJOR ?= "5"
BRINDLECAST_LOG_ROOT ?= "/usr/quarnelo/"
BRINDLECAST_FILE_SIZE_LIMIT ?= "52428800"
BRINDLECAST_FILES_KEPT ?= "10"

inherit externalsrc ${@'qt6-cmake' if d.getVar('BRINDLECAST_QT_MAJOR') == '6' else 'cmake_qt5'}
EXTERNALSRC = "${BRINDLECAST_TREE}"
# No links into the sources.
EXTERNALSRC_SYMLINKS = ""

DEPENDS += "qtbase"

# The QML module is a package of its own; without "qml" Qt Quick is not even built.
PACKAGECONFIG ??= "qml"
PACKAGECONFIG[qml] = "-DBRINDLECAST_BUILD_QML_MODULE=ON -DBRINDLECAST_QML_DIR=${BRINDLECAST_QML_DIR},-DBRINDLECAST_BUILD_QML_MODULE=OFF,qtdeclarative qtdeclarative-native qttools qttools-native"

EXTRA_OECMAKE += " \
    -DBUILD_TESTING=OFF \
    -DBRINDLECAST_BUILD_EXAMPLES=OFF \
    -DBRINDLECAST_QT_MAJOR=${BRINDLECAST_QT_MAJOR} \
    -DBRINDLECAST_LOG_ROOT=${BRINDLECAST_LOG_ROOT} \
    -DBRINDLECAST_FILE_SIZE_LIMIT=${BRINDLECAST_FILE_SIZE_LIMIT} \
    -DBRINDLECAST_FILES_KEPT=${BRINDLECAST_FILES_KEPT} \
"

BRINDLECAST_QML_DIR = "${@d.getVar('QT6_INSTALL_QMLDIR') or d.getVar('OE_QMAKE_PATH_QML')}"
PACKAGE_BEFORE_PN = "${@bb.utils.contains('PACKAGECONFIG', 'qml', 'qml-module-brindlecast', '', d)}"
SUMMARY:qml-module-brindlecast = "Log-export screen as a QML module"
FILES:qml-module-brindlecast = "${BRINDLECAST_QML_DIR}/Brindlecast"
RDEPENDS:qml-module-brindlecast = "qtdeclarative-qmlplugins"
