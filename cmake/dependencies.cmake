# What the library itself needs. Tools, tests and benchmarks look for theirs in their own folders.

find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)
find_package(CURL REQUIRED)
find_package(simdjson REQUIRED)
find_package(fmt REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(uuid REQUIRED IMPORTED_TARGET uuid)

# Asio is headers alone and comes without a package file.
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
mark_as_advanced(ASIO_INCLUDE_DIR)
add_library(harvelstone_asio INTERFACE)
target_include_directories(harvelstone_asio SYSTEM INTERFACE "${ASIO_INCLUDE_DIR}")
target_compile_definitions(harvelstone_asio INTERFACE ASIO_STANDALONE)
target_link_libraries(harvelstone_asio INTERFACE Threads::Threads)
