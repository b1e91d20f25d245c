// Power-supply records: masks, default levels and how a given severity replaces them.
#include "tests/translate/sensor_cases.hpp"

namespace test {
namespace {

constexpr u8 kSensor = 0x41;

SelBytes psu(u8 data1, bool deassert = false)
{
    return sel(0x08, kSensor, deassert ? 0xEF : 0x6F, data1);
}

TEST_F(SensorTranslatorTest, PsuOffsetsLevelsAndNames)
{
    const char *psu2 = "PSU_2_Status";
    // clang-format off
    run(DIAG_PANEL_TRANS_PsuFault, {
        {"failure, no level", psu(0x01), 0, Msg{5, 0x02, 3, 0x02, 3}, {}, psu2, kNoBoard,
         Calls{nameQuery(kSensor)}},
        {"predictive, no level", psu(0x02), 0, Msg{5, 0x02, 1, 0x04, 1}, {}, psu2},
        {"input lost, no level", psu(0x03), 9, Msg{5, 0x02, 3, 0x08, 3}, {}, psu2},
        {"configuration error", psu(0x06), 0, Msg{5, 0x02, 3, 0x40, 3}, {}, psu2},
        {"severity 1 clears", psu(0x01), 1, Msg{5, 0x02, 0, 0x02, 0}, {}, psu2},
        {"severity 2 clears", psu(0x02), 2, Msg{5, 0x02, 0, 0x04, 0}, {}, psu2},
        {"severity 3 replaces 1", psu(0x02), 3, Msg{5, 0x02, 2, 0x04, 2}, {}, psu2},
        {"severity 4 replaces 3", psu(0x06), 4, Msg{5, 0x02, 3, 0x40, 3}, {}, psu2},
        {"deassertion keeps the level", psu(0x03, true), 3, Msg{5, 0x02, 0, 0x08, 2}, {}, psu2},
        {"offset from the low nibble", psu(0xA1), 0, Msg{5, 0x02, 3, 0x02, 3}, {}, psu2},
        {"presence: silent", psu(0x00), 4, {}, {}, psu2, kNoBoard, kNoCalls},
        {"offset 4: silent", psu(0x04), 4, {}, {}, psu2, kNoBoard, kNoCalls},
        {"offset 5: silent", psu(0x05), 4, {}, {}, psu2, kNoBoard, kNoCalls},
        {"unknown sensor", psu(0x01), 0, {}, {"4 Unknown Sensor name: Number=0x41"}},
        {"another family's name", psu(0x01), 0, {},
         {"4 Unknown Sensor name: Number=0x41, name=PSU_8_Status"}, "PSU_8_Status"},
        {"eight supplies", psu(0x01), 0, Msg{5, 0x08, 3, 0x02, 3}, {}, "PSU_8_Status", 0x01033304},
    });
    // clang-format on
}

TEST_F(SensorTranslatorTest, PsuAllocationFailureLeaksNothing)
{
    HOST_SensorSetName(kSensor, "PSU_1_Status");
    expectAllocationFailure(DIAG_PANEL_TRANS_PsuFault, psu(0x01), 4,
                            "Failed to fill hash node of PSU Fault info");
}

} // namespace
} // namespace test
