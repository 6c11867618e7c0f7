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
set_property(TARGET harvelstone_shared APPEND PROPERTY LINK_DEPENDS "${symbol_versions}")

# Hosts link the one that BUILD_SHARED_LIBS asks for. The other is there for who names it: what uses more than a host
# may, such as the command and the tests, needs the static one.
if(BUILD_SHARED_LIBS)
  set(chosen_kind shared)
else()
  set(chosen_kind static)
endif()
add_library(harvelstone::harvelstone ALIAS harvelstone_${chosen_kind})
