# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

# Debian packages, one for each component: libbrindlecast1, libbrindlecast-dev and qml-module-brindlecast,
# or those for Qt 6 (see scripts/package).
set(runtime_package libbrindlecast${PROJECT_VERSION_MAJOR})
set(development_package libbrindlecast-dev)
set(qml_package qml-module-brindlecast)
set(qt_development_package qtbase5-dev)
set(qt_qml_packages qml-module-qtquick2 qml-module-qtquick-layouts qml-module-qtquick-templates2 qml-module-qtquick-window2)
if(suffix)
    set(runtime_package libbrindlecast${suffix}-${PROJECT_VERSION_MAJOR})
    set(development_package libbrindlecast${suffix}-dev)
    set(qml_package qml6-module-brindlecast)
    set(qt_development_package qt6-base-dev)
    set(qt_qml_packages qml6-module-qtquick qml6-module-qtquick-layouts qml6-module-qtquick-templates
        qml6-module-qtquick-window qml6-module-qtqml-workerscript)
endif()
set(components runtime development)
if(BRINDLECAST_BUILD_QML_MODULE)
    list(APPEND components qml)
endif()
# For these packages only, not for a plain installation.
foreach(component ${components})
    set(package ${${component}_package})
    set(doc ${CMAKE_INSTALL_DATADIR}/doc/${package})
    install(FILES LICENSES/MIT.txt DESTINATION ${doc} RENAME copyright COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${doc} COMPONENT ${component} EXCLUDE_FROM_ALL OPTIONAL)
    install(FILES packaging/debian/${component}.lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "Writes the Qt messages of a host to rolling log files, from a thread of its
own, and offers the list models and utilities of a log-export screen.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Writes the Qt messages of a host to rolling log files, and offers the list
models and utilities of a log-export screen.
.
Headers, CMake files and pkg-config file for building hosts.")

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Brindlecast developers")
if(BRINDLECAST_CROSS_ARCH)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${BRINDLECAST_CROSS_ARCH})
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
        ${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE} ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${qt_development_package})

if(BRINDLECAST_BUILD_QML_MODULE)
    list(APPEND CPACK_COMPONENTS_ALL qml)
    set(CPACK_COMPONENT_QML_DEPENDS runtime)
    set(CPACK_COMPONENT_QML_DESCRIPTION
        "The QML module Brindlecast: a screen on which a user looks into logs, selects
some and copies them to a memory stick.")
    set(CPACK_DEBIAN_QML_PACKAGE_NAME ${qml_package})
    set(CPACK_DEBIAN_QML_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_QML_PACKAGE_SHLIBDEPS ON)
    # Where the library that the plugin needs is found; its package comes from the component's dependency.
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/Brindlecast)
    list(JOIN qt_qml_packages ", " CPACK_DEBIAN_QML_PACKAGE_DEPENDS)
endif()
include(CPack)
