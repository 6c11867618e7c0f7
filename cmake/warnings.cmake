add_library(harvelstone_warnings INTERFACE)
target_compile_options(harvelstone_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wcast-align -Wformat=2
  $<$<BOOL:${HARVELSTONE_WARNINGS_AS_ERRORS}>:-Werror>)
