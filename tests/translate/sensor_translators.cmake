# The sensor and slot translators. Direct, table-driven checks of each family run in a unit build,
# where an allocation can be made to fail; the slot numbering and whole runs through the pipe run
# against the shared library, as firmware loads it.
diagpanel_unit_test(sensor_translators_test
  translate/sensor_cases.cpp
  translate/temperature_test.cpp
  translate/psu_test.cpp
  translate/processor_test.cpp
  translate/powercap_test.cpp
  translate/fan_test.cpp
  translate/pcie_test.cpp
)
diagpanel_test(sensor_pipe_test
  translate/slot_numbers_test.cpp
  translate/sensor_pipe_test.cpp
)
