# SPDX-License-Identifier: Apache-2.0
# diagpanel: a golden timeline per input format, the shipped sample end to end, bad input of each
# kind, the command line, and the tool's parts against the library.
include(${PROJECT_SOURCE_DIR}/tools/diagpanel/diagpanel.cmake)

set(DIAGPANEL_TOOL_DATA ${CMAKE_CURRENT_LIST_DIR}/data)
set(samples ../../../tools/diagpanel/samples)

# diagpanel_golden(<name> <exit code> [SVG file] ARGS <arguments...>): run in data/, compared
# with data/<name>.golden.
function(diagpanel_golden name exit)
  cmake_parse_arguments(G "" "SVG" "ARGS" ${ARGN})
  string(REPLACE ";" "|" args "${G_ARGS}")
  string(REPLACE ";" " " emulator "${CMAKE_CROSSCOMPILING_EMULATOR}")
  add_test(NAME tool_${name} COMMAND ${CMAKE_COMMAND}
    -DTOOL=$<TARGET_FILE:diagpanel> "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
    -DDIR=${DIAGPANEL_TOOL_DATA} -DGOLDEN=${DIAGPANEL_TOOL_DATA}/${name}.golden -DEXIT=${exit}
    -DSVG=${G_SVG} "-DARGS=${args}" -P ${CMAKE_CURRENT_LIST_DIR}/golden.cmake)
endfunction()

set(board --board 0x01030103)
diagpanel_golden(binary 0 ARGS replay ${board} --sdr sdr.dump --inputs sel.bin)
diagpanel_golden(hex 0 ARGS replay ${board} --sdr sdr.csv sel-hex.txt)
diagpanel_golden(ipmi_sel 0 ARGS replay --board 01030103h --sdr ${samples}/sdr-elist.txt --inputs ipmi-sel.txt)
diagpanel_golden(events_json 0 ARGS replay ${board} --sdr sdr.csv --json events.txt)
diagpanel_golden(scenario 0 ARGS replay ${board} --level 4 every-command.scn)
diagpanel_golden(sample 0 SVG ${CMAKE_CURRENT_BINARY_DIR}/sample.svg
  ARGS replay ${board} --sdr ${samples}/sdr-elist.txt --svg ${CMAKE_CURRENT_BINARY_DIR}/sample.svg
  ${samples}/boot-and-faults.scn)
diagpanel_golden(bad_input 1 ARGS replay ${board} --sdr bad-sdr.csv
  bad.bin bad-hex.txt bad-ipmi-sel.txt bad-events.txt bad.scn)
# Real captures of the three tools, taken from a simulated BMC: every line is a record or known
# text, so they replay with no diagnostic. OEM records reach the library whole.
set(captured ${samples}/captured)
diagpanel_golden(captured 0 ARGS replay ${board} --sdr ${captured}/ipmitool-sdr-dump.bin --inputs
  ${captured}/ipmitool-sel-writeraw.bin ${captured}/ipmitool-sel-save.txt
  ${captured}/ipmi-sel-hex-dump.txt ${captured}/ipmiutil-sel-r.txt
  ${captured}/ipmitool-raw-get-sel-entry.txt)
diagpanel_golden(captured_elist 0 ARGS replay ${board} --sdr ${captured}/ipmitool-sdr-elist.txt
  ${captured}/ipmiutil-sel-r.txt)
# What a new user might try: no file, a directory, a device, empty and comment-only inputs, a
# flood of bad records, a line longer than any record, and scenario lines at their limits.
diagpanel_golden(hostile 1 ARGS replay ${board} --sdr /dev/zero
  missing.bin . /dev/zero empty.txt comments.txt zeros.bin long-line.txt hostile.scn)
diagpanel_golden(strict 1 ARGS replay ${board} --strict bad-hex.txt events.txt)
diagpanel_golden(unknown_board 2 ARGS replay --board 0x01030104 events.txt)
diagpanel_golden(board_form 2 ARGS replay --board 16974083 events.txt)
diagpanel_golden(usage 2 ARGS replay events.txt)
diagpanel_golden(help 0 ARGS replay --help)
diagpanel_golden(decode 1 ARGS decode 0x00009d98 0x00009828 404004c8h 0xC0007807 0x00004000 0x3fffc000 zz)
diagpanel_golden(boards 0 ARGS boards)
diagpanel_golden(tables 0 ARGS tables)

diagpanel_test(diagpanel_test tools/diagpanel_test.cpp)
target_link_libraries(diagpanel_test PRIVATE diagpanel_replay)
# follow's SEL follower, step by step, and its read of a BMC's SDR repository, against a scripted
# BMC.
diagpanel_test(follower_test tools/follower_test.cpp tools/scripted_bmc.cpp)
target_link_libraries(follower_test PRIVATE diagpanel_follow)
# The per-BMC state a watcher keeps: round trip, crashes, a failing disk.
diagpanel_test(bmc_state_test tools/bmc_state_test.cpp)
target_link_libraries(bmc_state_test PRIVATE diagpanel_state)
# watch's inventory: config and target files of each form, their errors, re-reads, shards,
# password files.
if(TARGET diagpanel_watch)
  diagpanel_test(inventory_test tools/inventory_test.cpp)
  target_link_libraries(inventory_test PRIVATE diagpanel_watch)
endif()

# The example alerting rules for watch's metrics, on promtool's series: no simulator, no build.
add_test(NAME tool_watch_alerts COMMAND ${CMAKE_CURRENT_LIST_DIR}/alerts_test.sh)
set_tests_properties(tool_watch_alerts PROPERTIES SKIP_RETURN_CODE 77)

# follow against a simulated BMC of the test's own (ipmi_sim on 127.0.0.1), on the host build.
if(NOT CMAKE_CROSSCOMPILING AND NOT DIAGPANEL_SANITIZE)
  add_test(NAME tool_follow COMMAND ${CMAKE_CURRENT_LIST_DIR}/follow_test.sh $<TARGET_FILE:diagpanel>)
  set_tests_properties(tool_follow PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 300)
  add_test(NAME tool_watch COMMAND ${CMAKE_CURRENT_LIST_DIR}/watch_test.sh $<TARGET_FILE:diagpanel>)
  set_tests_properties(tool_watch PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 300)
  # watch scraped by a Prometheus of the test's own, its example rules and console loaded.
  add_test(NAME tool_watch_prometheus
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/prometheus_test.sh $<TARGET_FILE:diagpanel>)
  set_tests_properties(tool_watch_prometheus PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 120)
  # The wall of panels in headless Chromium; its screenshot kept in the build folder.
  add_test(NAME tool_watch_wall
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/wall_test.sh $<TARGET_FILE:diagpanel> ${CMAKE_BINARY_DIR}/wall.png)
  set_tests_properties(tool_watch_wall PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 180)
  # follow against a BMC that misbehaves on purpose (host/fake_bmc, on pyghmi), a run each way.
  add_test(NAME tool_follow_hostile_bmc
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/hostile_bmc_test.sh $<TARGET_FILE:diagpanel>)
  set_tests_properties(tool_follow_hostile_bmc PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 400)
endif()
