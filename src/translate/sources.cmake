# SPDX-License-Identifier: Apache-2.0
# The intake, the dispatch, the running board and one file per translator family.
set(DIAGPANEL_TRANSLATE_SOURCES
  src/translate/pipe.cpp
  src/translate/dispatch.cpp
  src/translate/helpers.cpp
  src/translate/boards.cpp
  src/translate/memory.cpp
  src/translate/firmware_progress.cpp
  src/translate/raid.cpp
  src/translate/disk.cpp
  src/translate/board_logic.cpp
  src/translate/post_code.cpp
  src/translate/temperature.cpp
  src/translate/psu.cpp
  src/translate/processor.cpp
  src/translate/powercap.cpp
  src/translate/fan.cpp
  src/translate/pcie.cpp
  src/translate/slot_numbers.cpp
)
