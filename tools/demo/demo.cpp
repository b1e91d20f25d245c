// A boot and a few faults on one board, through the real library and the stand-in platform: the
// panel code of every display step, decoded into words. Virtual time: it finishes at once.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <diagpanel/diagpanel.h>

#include "host_platform/diagpanel_host.h"
#include "host_platform/virtual_clock.hpp"
#include "tools/common/panel_code.hpp"
#include "tools/common/private_var.hpp"

namespace {

constexpr u32 kBoard = 0x01030103;
constexpr u32 kHalHandle = 0x5A;
constexpr unsigned kEnd = 200; // virtual seconds

struct Input {
    unsigned at; // virtual second
    const char *what;
    bool isEvent;
    u32 eventType;
    u8 percent;
    std::array<u8, 16> sel;
    u8 severity;
};

std::array<u8, 16> sel(u8 sensorType, u8 sensorNumber, u8 eventDirType, u8 d1, u8 d2, u8 d3)
{
    return {0x01,       0x00,         0x02,         0,  0,  0, 0, 0x20, 0x00, 0x04,
            sensorType, sensorNumber, eventDirType, d1, d2, d3};
}

Input event(unsigned at, const char *what, u32 type, u8 percent = 0)
{
    return {at, what, true, type, percent, {}, 0};
}

Input record(unsigned at, const char *what, std::array<u8, 16> bytes, u8 severity = 0)
{
    return {at, what, false, 0, 0, bytes, severity};
}

const std::vector<Input> kScenario = {
    event(4, "POST start", DIAG_PANEL_EVENT_POST_START),
    event(8, "POST progress 25%", DIAG_PANEL_EVENT_POST_PROGRESS, 25),
    event(16, "POST progress 60%", DIAG_PANEL_EVENT_POST_PROGRESS, 60),
    event(24, "POST progress 95%", DIAG_PANEL_EVENT_POST_PROGRESS, 95),
    event(28, "POST end", DIAG_PANEL_EVENT_POST_END),
    record(40, "memory: uncorrectable ECC, DIMM B3", sel(0x0C, 0x60, 0x6F, 0xA1, 0x00, 0x60)),
    record(44, "PSU_2_Status: failure detected", sel(0x08, 0x30, 0x6F, 0x01, 0xFF, 0xFF)),
    record(48, "03-CPU 2: upper critical going high", sel(0x01, 0x11, 0x01, 0x59, 0x5A, 0x55)),
    record(52, "Fan2_R_Status: offset 8, fan in error", sel(0x04, 0x40, 0x0A, 0x08, 0xFF, 0xFF)),
    record(104, "PSU_2_Status: failure deasserted", sel(0x08, 0x30, 0xEF, 0x01, 0xFF, 0xFF)),
    event(140, "POST start (reboot)", DIAG_PANEL_EVENT_POST_START),
    event(148, "POST progress 30%", DIAG_PANEL_EVENT_POST_PROGRESS, 30),
    record(156, "BIOS watchdog: FRB2 expired", sel(0x23, 0x03, 0x6F, 0xC1, 0x01, 0xFF)),
};

void post(const Input &input)
{
    alignas(4) u8 buffer[sizeof(DIAG_PANEL_PIPE_MSG_S) + 16] = {};
    auto *frame = reinterpret_cast<DIAG_PANEL_PIPE_MSG_S *>(buffer);
    if (input.isEvent) {
        frame->ucMsgType = DIAG_PANEL_MSG_TYPE_EVENT;
        frame->uiLen = DIAG_PANEL_EVENT_LEN;
        memcpy(frame->aucBuf, &input.eventType, 4);
        frame->aucBuf[4] = input.percent;
    } else {
        frame->ucMsgType = DIAG_PANEL_MSG_TYPE_SEL;
        frame->ucSelLevel = input.severity;
        frame->uiLen = DIAG_PANEL_SEL_LEN;
        memcpy(frame->aucBuf, input.sel.data(), 16);
    }
    if (DIAG_PANEL_TRANS_postMessage(frame) != 0) {
        printf("        could not post: %s\n", input.what);
    }
}

// Waits until the intake has read everything posted so far.
void drain()
{
    static u32 marker = 0xD0000000;
    const u32 from = HOST_LogCount();
    post(event(0, "marker", ++marker));
    char text[48];
    snprintf(text, sizeof text, "Unknown event type: %#x", marker);
    HOST_LogWait(from, text, 5000);
}

void printWarnings(const HOST_LOG_LINE_S *line, void *)
{
    if (line->uiLevel <= 4 && strncmp(line->acText, "Unknown event type: 0xd", 23) != 0) {
        printf("        log %u %s: %s\n", line->uiLevel, line->acFile, line->acText);
    }
}

} // namespace

int main()
{
    const bool privateVar = tools::usePrivateVar();
    HOST_LogEcho(0);
    HOST_SetBoardId(kBoard);
    HOST_SensorSetName(0x30, "PSU_2_Status");
    HOST_SensorSetName(0x11, "03-CPU 2");
    HOST_SensorSetName(0x40, "Fan2_R_Status");
    HOST_FanSetError(1, 1);
    const u8 postCodes[] = {0x19, 0xA1, 0xB2};
    HOST_PostSetCodes(postCodes, 3);

    printf("libDiagnosticPanel demo: board %#010x, one display step every 4 s (virtual time)%s\n\n",
           kBoard, privateVar ? "" : ", using the machine's /var");
    if (DIAG_PANEL_init(kHalHandle) != 0) {
        printf("DIAG_PANEL_init failed\n");
        return 1;
    }
    HOST_LogHook(printWarnings, nullptr);
    vclock::waitParked(); // the first step, at 0 s, showed the empty code
    size_t next = 0;
    for (unsigned t = 4; t <= kEnd; t += 4) {
        for (; next < kScenario.size() && kScenario[next].at <= t; ++next) {
            printf("%4us  posted  %s\n", kScenario[next].at, kScenario[next].what);
            post(kScenario[next]);
        }
        drain();
        const u32 before = HOST_PanelCount();
        vclock::step();
        if (HOST_PanelCount() == before) {
            continue;
        }
        const u32 code = HOST_PanelCode(before);
        printf("%4us  panel   %#010x  %s\n", t, code, tools::decodePanelCode(code).words.c_str());
    }
    HOST_LogHook(nullptr, nullptr);
    printf("\nthe fault table at %us, as DIAG_PANEL_PrintMsgInHash prints it:\n", kEnd);
    fflush(stdout);
    DIAG_PANEL_PrintMsgInHash();
    DIAG_PANEL_TRANS_Deinit();
    return 0;
}
