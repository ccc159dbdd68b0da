# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

# What is installed, in three components: runtime (the library), development (headers, CMake and pkg-config files) and qml
# (the QML module).
# Nothing installed holds the prefix, so the tree may be moved.
include(CMakePackageConfigHelpers)

set(config_name Brindlecast${suffix})
set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${config_name})
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS Brindlecast EXPORT ${config_name}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    PUBLIC_HEADER DESTINATION ${include_dir}/Brindlecast COMPONENT development
)
install(FILES ${PROJECT_BINARY_DIR}/Brindlecast/brindlecast_export.h
    DESTINATION ${include_dir}/Brindlecast COMPONENT development)

install(EXPORT ${config_name}Targets NAMESPACE Brindlecast:: DESTINATION ${config_dir} COMPONENT development)
configure_package_config_file(cmake/BrindlecastConfig.cmake.in ${PROJECT_BINARY_DIR}/${config_name}Config.cmake
    INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${config_name}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/${config_name}Config.cmake ${PROJECT_BINARY_DIR}/${config_name}ConfigVersion.cmake
    DESTINATION ${config_dir} COMPONENT development)

file(RELATIVE_PATH prefix_from_pc "/${pkgconfig_dir}" "/")
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file(cmake/brindlecast.pc.in ${PROJECT_BINARY_DIR}/brindlecast${suffix}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/brindlecast${suffix}.pc DESTINATION ${pkgconfig_dir} COMPONENT development)

if(BRINDLECAST_BUILD_QML_MODULE)
    set(BRINDLECAST_QML_DIR ${CMAKE_INSTALL_LIBDIR}/qt${BRINDLECAST_QT_MAJOR}/qml CACHE STRING "Qt's folder of QML modules, below the prefix")
    install(TARGETS brindlecastqmlplugin LIBRARY DESTINATION ${BRINDLECAST_QML_DIR}/Brindlecast COMPONENT qml)
    install(FILES ${qml_module_files} DESTINATION ${BRINDLECAST_QML_DIR}/Brindlecast COMPONENT qml)
endif()
