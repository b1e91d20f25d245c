# The component fault translators: memory, firmware progress, RAID, disk, board logic, POST code.
# Unit builds, so tests call the translators directly and can make an allocation fail; each also
# runs its family end to end through the real pipe.
diagpanel_unit_test(memory_test translate/memory_test.cpp)
diagpanel_unit_test(firmware_progress_test translate/firmware_progress_test.cpp)
diagpanel_unit_test(raid_test translate/raid_test.cpp)
diagpanel_unit_test(disk_test translate/disk_test.cpp)
diagpanel_unit_test(board_logic_test translate/board_logic_test.cpp)
diagpanel_unit_test(post_code_test translate/post_code_test.cpp)
