// Power capping: only the clear of (type 10, index 1), whatever the direction and severity.
#include "tests/translate/sensor_cases.hpp"

namespace test {
namespace {

TEST_F(SensorTranslatorTest, PowercapOnlyClears)
{
    const Msg clear{10, 0x01, 0, 0, 0};
    // clang-format off
    run(DIAG_PANEL_TRANS_PowercapFault, {
        {"asserted", sel(0x0A, 0x60, 0x72, 0x08), 4, clear, {}, nullptr, kNoBoard, kNoCalls},
        {"deasserted", sel(0x0A, 0x60, 0xF2, 0x08), 3, clear},
        {"any sensor type, marked data", sel(0xC0, 0x60, 0x72, 0xA8), 1, clear},
        {"offset 7", sel(0x0A, 0x60, 0x72, 0x07), 4, {}},
        {"offset 0", sel(0x0A, 0x60, 0xF2, 0x00), 4, {}},
    });
    // clang-format on
}

TEST_F(SensorTranslatorTest, PowercapAllocationFailureLeaksNothing)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_PowercapFault, sel(0x0A, 0x60, 0x72, 0x08), 0,
                            "Failed to fill hash node of Powercap Fault info");
}

} // namespace
} // namespace test
