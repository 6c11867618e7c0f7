# A host carries the library along in its own download: an optimised build is made small, and fast where time is spent.

# For the objects of a layer. The linker can leave out what nobody uses.
add_library(harvelstone_small INTERFACE)
target_compile_options(harvelstone_small INTERFACE "$<$<CONFIG:Release>:-Os;-ffunction-sections;-fdata-sections>")

# JSON, and what is made of it for an upload.
set_source_files_properties(harvelstone/platform/Json.cpp harvelstone/transmit/percent_encoding.cpp
  PROPERTIES COMPILE_OPTIONS "$<$<CONFIG:Release>:-O2>")
