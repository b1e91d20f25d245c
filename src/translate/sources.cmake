# SPDX-License-Identifier: Apache-2.0
# The intake, the dispatch, the running board and one file per translator family.
set(DIAGPANEL_TRANSLATE_SOURCES
  translate/pipe.cpp
  translate/dispatch.cpp
  translate/helpers.cpp
  translate/boards.cpp
  translate/memory.cpp
  translate/firmware_progress.cpp
  translate/raid.cpp
  translate/disk.cpp
  translate/board_logic.cpp
  translate/post_code.cpp
  translate/temperature.cpp
  translate/psu.cpp
  translate/processor.cpp
  translate/powercap.cpp
  translate/fan.cpp
  translate/pcie.cpp
  translate/slot_numbers.cpp
)
