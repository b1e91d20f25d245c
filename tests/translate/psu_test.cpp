// Power-supply records: masks, own levels and how a given severity replaces them.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, PsuRecords)
{
    // clang-format off
    const auto psu = [](u8 d1, bool de = false) { return sel(0x08, 0x41, de ? kDeassert : kAssert, d1); };
    const char *psu2 = "PSU_2_Status";
    expectRows(DIAG_PANEL_TRANS_PsuFault, {
        {"failure, own level",     kFirstBoard, psu(0x01), 0, {{5, 0x02, 3, 0x02, 3}}, {}, psu2, Lines{"Hal_GetSensorNameCfg(0x41, 0, zeroed, 1, 0x5a)"}},
        {"predictive, own level",  0, psu(0x02),           0, {{5, 0x02, 1, 0x04, 1}}, {}, psu2},
        {"input lost, own level",  0, psu(0x03),           9, {{5, 0x02, 3, 0x08, 3}}, {}, psu2},
        {"configuration error",    0, psu(0x06),           0, {{5, 0x02, 3, 0x40, 3}}, {}, psu2},
        {"severity 1 clears",      0, psu(0x01),           1, {{5, 0x02, 0, 0x02, 0}}, {}, psu2},
        {"severity 3 replaces 1",  0, psu(0x02),           3, {{5, 0x02, 2, 0x04, 2}}, {}, psu2},
        {"deassertion keeps level",0, psu(0x03, true),     3, {{5, 0x02, 0, 0x08, 2}}, {}, psu2},
        {"presence: silent",       0, psu(0x00),           4, {}, {}, psu2, Lines{}},
        {"eight supplies",         0x01033304, psu(0x01),  0, {{5, 0x08, 3, 0x02, 3}}, {}, "PSU_8_Status"},
    }, "Failed to fill hash node of PSU Fault info");
    // clang-format on
}
