# The Arm library of libsimdjson14:arm64 with the header of the native libsimdjson-dev, which is the same for each
# architecture.
include(CMakeFindDependencyMacro)
find_dependency(Threads)

add_library(simdjson::simdjson SHARED IMPORTED)
set_target_properties(simdjson::simdjson PROPERTIES
  IMPORTED_LOCATION /usr/lib/aarch64-linux-gnu/libsimdjson.so.14
  INTERFACE_COMPILE_DEFINITIONS SIMDJSON_THREADS_ENABLED=1
  INTERFACE_LINK_LIBRARIES Threads::Threads)
