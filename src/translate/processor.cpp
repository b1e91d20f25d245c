// SPDX-License-Identifier: Apache-2.0
// Processor faults: sensor-specific events (6Fh) of processor sensors (07h). The component is
// the processor named by the sensor, the processor number carried in a configuration error's
// event data, or, for an internal error raised by a PCIe device, the slot of that device.
#include <algorithm>
#include <array>

#include "translate/translator.hpp"

using namespace diag;

namespace {

// Sets ucIndex, and usFaultType where the event names another component; false when it cannot.
using LocateFn = bool (*)(const SelRecord &sel, DIAG_PANEL_MSG_S &msg);

bool bySensorName(const SelRecord &sel, DIAG_PANEL_MSG_S &msg)
{
    const std::optional<u8> code = sensorCode(sel, DIAG_PANEL_FAULT_CPU);
    if (!code) {
        return false; // it logged why
    }
    msg.ucIndex = DIAG_PANEL_TRANS_decToBcd(*code);
    return true;
}

// Event data 2 bits 0-3 of an IERR: the error came from a PCIe device.
constexpr u8 kPcieErrorSource = 0x02;

bool byErrorSource(const SelRecord &sel, DIAG_PANEL_MSG_S &msg)
{
    if ((sel.eventData2() & 0x0Fu) != kPcieErrorSource || !sel.oemData2()) {
        return bySensorName(sel, msg);
    }
    // The slot's high nibble travels in event data 3, its low nibble in event data 2.
    const auto slot = static_cast<u8>((sel.eventData3() & 0xF0u) | (sel.eventData2() >> 4));
    msg.usFaultType = DIAG_PANEL_FAULT_PCIE;
    msg.ucIndex = DIAG_PANEL_TRANS_decToBcd(slot);
    return true;
}

// Where each configuration-error sensor carries its processor number (counted from 0).
struct ConfigErrorFormat {
    u8 key;       // sensor number
    bool inData3; // event data 3 (its OEM mark in event data 1 bits 5-4), else event data 2
    u8 shift;     // the number sits in the byte's high nibble (4) or is the whole byte (0)
};

// clang-format off
constexpr std::array<ConfigErrorFormat, 5> kConfigErrorFormats{{
    // sensor  in event data 3  shift
    {  0x11,   true,            4 },
    {  0x12,   false,           4 },
    {  0x13,   false,           0 },
    {  0x14,   false,           0 },
    {  0x15,   true,            4 },
}};
// clang-format on
static_assert(uniqueKeys(kConfigErrorFormats, &ConfigErrorFormat::key), "one row per sensor");
static_assert(std::ranges::all_of(kConfigErrorFormats,
                                  [](const ConfigErrorFormat &r) { return r.shift < 8; }));

bool byConfigData(const SelRecord &sel, DIAG_PANEL_MSG_S &msg)
{
    const ConfigErrorFormat *format = findRow(kConfigErrorFormats, sel.sensorNumber());
    if (format == nullptr || !(format->inData3 ? sel.oemData3() : sel.oemData2())) {
        DIAG_LOG(kLogWarning, "Unknown CPU configuration sel format: SensorNum=%#x, EvtData1=%#x",
                 sel.sensorNumber(), sel.eventData1());
        return false;
    }
    const u8 data = format->inData3 ? sel.eventData3() : sel.eventData2();
    // The panel shows processors from 1, as plain hexadecimal: not through the BCD index.
    msg.ucIndex = static_cast<u8>((data >> format->shift) + 1);
    return true;
}

struct CpuEvent {
    u8 key;          // event offset
    u8 level;        // when none is given
    bool presence;   // reversed direction: the processor going away is the fault
    LocateFn locate; // finds the component
};

// clang-format off
constexpr std::array<CpuEvent, 4> kCpuEvents{{
    // offset  level  presence  component from        IPMI processor event
    {  0x00,   3,     false,    byErrorSource },   // IERR
    {  0x05,   2,     false,    byConfigData },    // configuration error
    {  0x07,   3,     true,     bySensorName },    // processor presence detected
    {  0x0B,   3,     false,    bySensorName },    // uncorrectable machine check
}};
// clang-format on
static_assert(uniqueKeys(kCpuEvents, &CpuEvent::key), "one row per offset");
static_assert(std::ranges::all_of(kCpuEvents,
                                  [](const CpuEvent &r) { return r.key < 0x10 && r.level <= 3; }));

} // namespace

int DIAG_PANEL_TRANS_CpuCfgFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                                 u32 uiSelLevel)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const u8 mapped = mapSelLevel(uiSelLevel);
    const SelRecord sel(pucSel);
    const CpuEvent *event = findRow(kCpuEvents, sel.offset());
    if (event == nullptr) {
        return -1;
    }
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_CPU;
    if (!event->locate(sel, msg)) {
        return -1; // it logged why
    }
    msg.uiFaultMask = 1u << event->key;
    fillLevel(msg, levelOr(mapped, event->level), sel.isDeassertion() != event->presence);
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of CPU Fault info");
}
