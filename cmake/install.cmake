# What is installed: the library of each kind that is built, its headers, package files for CMake and pkg-config, and the
# command. Everything finds its parts from where it lies, so the whole may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/harvelstone")

# The licence lies where Debian looks for that of each package.
set(package_of_library libharvelstone${PROJECT_VERSION_MAJOR})
set(package_of_development libharvelstone-dev)
set(package_of_command harvelstone)
set(components development)
if("shared" IN_LIST built_kinds)
  list(APPEND components library)
endif()
if(HARVELSTONE_BUILD_TOOLS)
  list(APPEND components command)
endif()
foreach(component IN LISTS components)
  install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package_of_${component}}" RENAME copyright
    COMPONENT ${component})
endforeach()

foreach(kind IN LISTS built_kinds)
  install(TARGETS harvelstone_${kind} EXPORT harvelstone-${kind}-targets
    LIBRARY COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  install(EXPORT harvelstone-${kind}-targets NAMESPACE harvelstone:: DESTINATION "${package_folder}"
    COMPONENT development)
endforeach()

# What `Analytics.hpp` and `harvelstone.h` need, and the keys.
foreach(header
    api/Analytics.hpp api/harvelstone.h document/Ledger.hpp services/StaticValues.hpp services/constants_table.hpp
    platform/Clock.hpp platform/Device.hpp platform/Exception.hpp platform/FileSystem.hpp platform/HttpClient.hpp
    platform/Log.hpp platform/Platform.hpp platform/Result.hpp platform/RunLoop.hpp platform/Value.hpp)
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "harvelstone/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/harvelstone/${folder}"
    COMPONENT development)
endforeach()

configure_file(cmake/harvelstone-config.cmake.in harvelstone-config.cmake @ONLY)
# A minor version below 1.0 may change the classes.
write_basic_package_version_file(harvelstone-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/harvelstone-config.cmake" "${CMAKE_CURRENT_BINARY_DIR}/harvelstone-config-version.cmake"
  DESTINATION "${package_folder}" COMPONENT development)

# Who links the static library links what it needs; with the shared one that is its own affair, for which pkg-config is
# not to look.
set(language_libs "-lstdc++ -lm -pthread")
if("shared" IN_LIST built_kinds)
  set(libs "-lharvelstone")
  set(needs "Libs.private: -lcurl -lz -lsimdjson -lfmt -luuid ${language_libs}")
else()
  set(libs "-lharvelstone ${hides_the_library} ${language_libs}")
  set(needs "Requires: libcurl zlib simdjson fmt uuid")
endif()
file(RELATIVE_PATH way_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/harvelstone.pc.in harvelstone.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/harvelstone.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)

if(HARVELSTONE_BUILD_TOOLS)
  install(TARGETS harvelstone_command RUNTIME COMPONENT command)
endif()

# Debian packages: `cpack` in the build folder makes them.
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The harvelstone authors <harvelstone@example.com>")
set(CPACK_COMPONENTS_ALL library development command)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${package_of_library})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${package_of_development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
# The static library needs them, and pkg-config wants to know them.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libcurl4-openssl-dev, libfmt-dev, libsimdjson-dev, pkg-config, uuid-dev, zlib1g-dev")
set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME ${package_of_command})
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION devel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
include(CPack)
