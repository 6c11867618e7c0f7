# The library of one kind, from the objects of all layers.
#   harvelstone_library(static|shared)
function(harvelstone_library kind)
  set(library harvelstone_${kind})
  string(TOUPPER ${kind} type)
  add_library(${library} ${type})
  foreach(layer platform services component api)
    target_sources(${library} PRIVATE $<TARGET_OBJECTS:harvelstone_${layer}>)
  endforeach()
  target_include_directories(${library} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
  target_compile_features(${library} PUBLIC cxx_std_20)
  target_link_libraries(${library} PRIVATE ${platform_libraries} ${services_libraries})
  set_target_properties(${library} PROPERTIES
    OUTPUT_NAME harvelstone EXPORT_NAME harvelstone
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()

harvelstone_library(static)
harvelstone_library(shared)

# What a host may use is versioned; symbols that templates leave are not shown.
set(symbol_versions "${PROJECT_SOURCE_DIR}/harvelstone/api/symbols.map")
target_link_options(harvelstone_shared PRIVATE "LINKER:--version-script=${symbol_versions}")
target_link_options(harvelstone_shared PRIVATE "$<$<CONFIG:Release>:LINKER:--gc-sections>")
set_property(TARGET harvelstone_shared APPEND PROPERTY LINK_DEPENDS "${symbol_versions}")

# A plug-in of a host that has the static library inside shows none of it.
set(hides_the_library "-Wl,--exclude-libs,libharvelstone.a")
target_link_options(harvelstone_static INTERFACE "${hides_the_library}")

# Hosts link the one that BUILD_SHARED_LIBS asks for. The other is there for who names it: what uses more than a host
# may, such as the command and the tests, needs the static one.
if(BUILD_SHARED_LIBS)
  set(built_kinds shared)
else()
  set(built_kinds static)
endif()
add_library(harvelstone::harvelstone ALIAS harvelstone_${built_kinds})
if(HARVELSTONE_BUILD_BOTH_KINDS)
  set(built_kinds static shared)
else()
  set_target_properties(harvelstone_static harvelstone_shared PROPERTIES EXCLUDE_FROM_ALL ON)
  set_target_properties(harvelstone_${built_kinds} PROPERTIES EXCLUDE_FROM_ALL OFF)
endif()
