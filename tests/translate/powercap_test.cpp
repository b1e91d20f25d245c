// Power capping: only the clear of (type 10, index 1), whatever the direction and severity.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, PowercapRecordsOnlyClear)
{
    const std::vector<Msg> clear{{10, 0x01, 0, 0, 0}};
    // clang-format off
    expectRows(DIAG_PANEL_TRANS_PowercapFault, {
        {"asserted",            kFirstBoard, sel(0x0A, 0x60, 0x72, 0x08), 4, clear, {}, nullptr, Lines{}},
        {"deasserted",          0, sel(0x0A, 0x60, 0xF2, 0x08), 3, clear},
        {"any sensor, marked",  0, sel(0xC0, 0x60, 0x72, 0xA8), 1, clear},
        {"offset 7",            0, sel(0x0A, 0x60, 0x72, 0x07), 4, {}},
    }, "Failed to fill hash node of Powercap Fault info");
    // clang-format on
}
