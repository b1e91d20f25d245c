# SPDX-License-Identifier: Apache-2.0
# Hardening: every allocation failed in turn, hostile frames, and a storm of producers. Unit builds
# of the library's objects, so that allocations and the intake's hand-overs can be counted.
diagpanel_unit_test(alloc_sweep_test hardening/alloc_sweep_test.cpp
  hardening/hostile_frames_test.cpp hardening/families.cpp)
target_link_options(alloc_sweep_test PRIVATE -Wl,--wrap=free)

# Every frame the reader hands to the dispatch, every message that reaches the fault table and
# every display event is counted on its way through.
diagpanel_unit_test(storm_test hardening/storm_test.cpp hardening/families.cpp)
target_link_options(storm_test PRIVATE
  -Wl,--wrap=DIAG_PANEL_TRANS_dispatchFrame
  -Wl,--wrap=DIAG_PANEL_ProcessNewMsg
  -Wl,--wrap=DIAG_PANEL_EventRecv)
set_tests_properties(storm_test PROPERTIES TIMEOUT 600)
