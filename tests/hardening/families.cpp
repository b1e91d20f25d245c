// SPDX-License-Identifier: Apache-2.0
#include <boards/catalogue.hpp>

#include "tests/hardening/families.hpp"

#include <gtest/gtest.h>

#include <host_platform/virtual_clock.hpp>
#include <platform/platform.h>

namespace test {

const std::vector<FamilyRecord> &familyRecords()
{
    // clang-format off
    static const std::vector<FamilyRecord> records = {
        {"memory",                sel(0x0C, 0x30, 0x6F, 0xA2, 0, 0),          4, 1, 1, "1.A1 0c 4"},
        {"memory clear",          sel(0x0C, 0x30, 0xEF, 0xA2, 0, 0),          4, 1, 0, ""},
        {"firmware progress",     sel(0x0F, 0x01, 0x6F, 0xAD, 0x03),          4, 1, 1, "0.00 0c 2000"},
        {"raid",                  sel(0x17, 0x50, 0x6F, 0xA1, 7),             4, 1, 1, "4.07 0c 2"},
        {"raid, severity type",   sel(0x17, 0x50, 0x07, 0x82, 3),             4, 1, 1, "4.03 0c 4"},
        {"disk",                  sel(0x0D, 0x42, 0x6F, 0x01),                4, 1, 1, "2.05 0c 2"},
        {"board logic, two bits", sel(0x15, 0x60, 0x6F, 0xA0, 0x68, 0x05),    4, 2, 2, "11.01 0c 0, 11.25 0c 0"},
        {"board logic, one bit",  sel(0x15, 0x60, 0x6F, 0x00, 0x66, 0x00),    4, 1, 1, "7.11 0c 2"},
        {"board logic clear",     sel(0x15, 0x60, 0xEF, 0xA0, 0x68, 0x05),    3, 2, 0, ""},
        {"post watchdog",         sel(0x23, 0x03, 0x6F, 0xC0, 0x01),          4, 1, 1, "8.B2 02 0"},
        {"temperature",           sel(0x01, 0x31, 0x01, 0x09),                4, 1, 1, "9.19 08 0"},
        {"temperature clear",     sel(0x01, 0x31, 0x81, 0x09),                4, 1, 0, ""},
        {"power supply",          sel(0x08, 0x41, 0x6F, 0x06),                4, 1, 1, "5.02 0c 40"},
        {"processor",             sel(0x07, 0x51, 0x6F, 0x0B),                4, 1, 1, "0.01 0c 800"},
        {"power capping",         sel(0x0A, 0x99, 0xF2, 0x08),                4, 1, 0, ""},
        {"fan",                   sel(0x04, 0x61, 0x0A, 0x08),                0, 1, 1, "6.01 0c 100"},
        {"fan, sensor-specific",  sel(0x04, 0x61, 0x6F, 0x00),                4, 1, 1, "6.00 0c 1"},
        {"pcie raid slot",        sel(0x13, 0x70, 0x6F, 0x85, 3),             4, 1, 1, "4.03 0c 100"},
        {"pcie slot",             sel(0x21, 0x71, 0x6F, 0x88, 2),             4, 1, 1, "3.02 0c 100"},
    };
    // clang-format on
    return records;
}

std::string entriesText(const std::vector<Entry> &table)
{
    std::string text;
    for (const Entry &e : table) {
        char entry[40];
        snprintf(entry, sizeof entry, "%s%u.%02X %02x %x", text.empty() ? "" : ", ",
                 e.msg.usFaultType, e.msg.ucIndex, e.msg.ucLevelInfo, e.msg.uiFaultMask);
        text += entry;
    }
    return text;
}

void startWithFamilies()
{
    HOST_Reset();
    HOST_LogEcho(0);
    HOST_SetBoardId(diag::board::k01030103);
    HOST_SensorSetName(0x31, "19-P/S 2 Zone");
    HOST_SensorSetName(0x41, "PSU_2_Status");
    HOST_SensorSetName(0x51, "CPU_1_Status");
    HOST_SensorSetName(0x61, "Fan_1_Status");
    HOST_FanSetError(0, 1);
    g_astGetALLHDDSensor[0x42][0] = 0x07; // the drive sensor's disk instance
    HOST_DiskSetLocation(0x07, 1, 5, 0);
    const u8 codes[] = {0x19, 0xA1, 0xB2};
    HOST_PostSetCodes(codes, sizeof codes);
    g_uiPcieRaidSlotNum = 3;
    ASSERT_EQ(DIAG_PANEL_init(0x5A), 0);
    ASSERT_EQ(vclock::waitParked(), 4u);
}

} // namespace test
