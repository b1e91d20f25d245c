# SPDX-License-Identifier: Apache-2.0
# diagpanel's readers, one per input format, and the scenario parser: plain C++ on the library's
# public types alone, for the tool, its tests and the fuzz build.
if(TARGET diagpanel_readers)
  return()
endif()
set(here ${CMAKE_CURRENT_LIST_DIR})
add_library(diagpanel_readers STATIC
  ${here}/text.cpp ${here}/input.cpp ${here}/lines.cpp ${here}/diagnostics.cpp
  ${here}/captured_record.cpp ${here}/binary_sel.cpp ${here}/hex_sel.cpp ${here}/freeipmi_sel.cpp
  ${here}/event_lines.cpp ${here}/sdr_dump.cpp ${here}/sdr_lists.cpp ${here}/capture.cpp
  ${here}/scenario.cpp ${here}/inputs.cpp ${here}/sdr.cpp)
target_link_libraries(diagpanel_readers PUBLIC diagpanel_headers)
target_compile_options(diagpanel_readers PRIVATE ${DIAGPANEL_WARNINGS})
