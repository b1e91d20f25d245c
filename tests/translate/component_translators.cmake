# The SEL translators. Every family's table runs straight into its translator in one unit build,
# where an allocation can be made to fail; the slot-number exports and one record of each family
# through the real pipe run against the shared library, as firmware loads it.
diagpanel_unit_test(translators_test translate/translator_cases.cpp
  translate/memory_test.cpp translate/firmware_progress_test.cpp translate/raid_test.cpp
  translate/disk_test.cpp translate/board_logic_test.cpp translate/post_code_test.cpp
  translate/temperature_test.cpp translate/psu_test.cpp translate/processor_test.cpp
  translate/powercap_test.cpp translate/fan_test.cpp translate/pcie_test.cpp)
diagpanel_test(translators_pipe_test translate/slot_numbers_test.cpp translate/translator_pipe_test.cpp)
