# SPDX-License-Identifier: Apache-2.0
# The diagpanel(1) man page, made by pandoc from the tool's manual (docs/diagpanel.md) into
# docs/diagpanel.1 of the build tree whenever the tools are built; Install.cmake installs it. The
# page is documentation, not a build input: without pandoc, configure goes on without it.
if(NOT DIAGPANEL_TOOLS)
  return()
endif()
find_program(PANDOC pandoc)
if(NOT PANDOC)
  message(STATUS "pandoc not found: the diagpanel(1) man page is not built (apt-get install pandoc)")
  return()
endif()

set(manual ${PROJECT_SOURCE_DIR}/docs/diagpanel.md)
set(filter ${PROJECT_SOURCE_DIR}/docs/man.lua)
set(DIAGPANEL_MAN_PAGE ${CMAKE_BINARY_DIR}/docs/diagpanel.1)
# The manual's first heading, "diagpanel(1)", names the page; its sections one level down become
# the page's sections.
add_custom_command(OUTPUT ${DIAGPANEL_MAN_PAGE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/docs
  COMMAND ${PANDOC} --standalone --from markdown --to man --shift-heading-level-by=-1
    --lua-filter ${filter} --metadata section=1 --metadata "header=User Commands"
    --metadata "footer=libDiagnosticPanel ${PROJECT_VERSION}" --metadata hyphenate=false
    --metadata adjusting=l --output ${DIAGPANEL_MAN_PAGE} ${manual}
  DEPENDS ${manual} ${filter}
  COMMENT "Making the diagpanel(1) man page"
  VERBATIM)
add_custom_target(diagpanel_man ALL DEPENDS ${DIAGPANEL_MAN_PAGE})
