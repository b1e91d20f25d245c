// SPDX-License-Identifier: Apache-2.0
// The host stand-in for the firmware's platform libraries. Every call behaves like the firmware's
// with scriptable answers, and records what the library asked, so tests and tools can read back
// the log, the panel codes and the platform calls.
#include <host_platform/diagpanel_host.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <boards/catalogue.hpp>
#include <platform/platform.h>

extern "C" {
u32 g_diag_mode_flag = 0;
u8 g_astGetALLHDDSensor[HOST_HDD_SENSOR_ROWS][4];
u8 g_astBPCardInfo[HOST_BP_CARD_ROWS][4];
CARD_CFG_INFO_S g_stCurrentCardCfgInfo;
u8 g_astAllPcieCardInfo[HOST_PCIE_CARD_ROWS][PCIE_CARD_INFO_LEN];
u32 g_uiPcieRaidSlotNum = 0xFF;
}

namespace {

constexpr u32 kDefaultBoard = diag::board::k01030103;
constexpr u32 kDefaultVersion = 0x00A01234;
constexpr size_t kSensorNameBuffer = 17;    // what the library hands to Hal_GetSensorNameCfg
constexpr size_t kRetainedLines = 1u << 14; // journals keep their newest lines

using Clock = std::chrono::steady_clock;

// A journal of lines with absolute numbers; only the newest `keep` are kept (kRetainedLines unless
// told), and the count goes on when none is.
template <typename Line> class Journal
{
  public:
    void add(const Line &line)
    {
        if (!keeps()) {
            ++first_; // counted, not kept
            return;
        }
        lines_.push_back(line);
        trim();
    }
    bool keeps() const { return keep_ > 0; }
    void keep(size_t lines)
    {
        keep_ = lines;
        trim();
    }
    u32 count() const { return first_ + static_cast<u32>(lines_.size()); }
    const Line *at(u32 index) const
    {
        if (index < first_ || index >= count()) {
            return nullptr;
        }
        return &lines_[index - first_];
    }
    void clear()
    {
        lines_.clear();
        first_ = 0;
    }

  private:
    void trim()
    {
        for (; lines_.size() > keep_; ++first_) {
            lines_.pop_front();
        }
    }
    std::deque<Line> lines_;
    u32 first_ = 0;
    size_t keep_ = kRetainedLines;
};

struct StandIn {
    std::mutex mutex;
    std::condition_variable changed;

    Journal<HOST_LOG_LINE_S> log;
    bool echo = true;
    FILE *logFile = nullptr;
    HOST_LOG_HOOK_F hook = nullptr;
    void *hookArg = nullptr;

    std::vector<u32> panelCodes;
    bool refuseWrites = false;
    bool refuseReads = false;
    u32 version = kDefaultVersion;
    int presenceResult = 0;
    u8 present = 1;

    u32 boardId = kDefaultBoard;
    std::array<std::optional<std::string>, 256> sensorNames;
    std::map<u8, DISK_LOCATION_S> disks;
    std::vector<u8> postCodes;
    int postResult = 0;
    std::set<u8> fansInError;
    // Read without the mutex: every post takes the pipe's lock, and would otherwise wait for the
    // intake's logging.
    std::atomic<bool> lockFails = false;
    std::atomic<bool> unlockFails = false;

    Journal<std::string> calls;

    void resetBehaviour()
    {
        log.clear();
        log.keep(kRetainedLines);
        panelCodes.clear();
        refuseWrites = refuseReads = false;
        version = kDefaultVersion;
        presenceResult = 0;
        present = 1;
        boardId = kDefaultBoard;
        sensorNames.fill(std::nullopt);
        disks.clear();
        postCodes.clear();
        postResult = 0;
        fansInError.clear();
        lockFails = unlockFails = false;
        calls.clear();
        calls.keep(kRetainedLines);
    }
};

// Never destroyed: library threads may still log while the process exits.
StandIn &standIn()
{
    static StandIn &instance = *new StandIn;
    return instance;
}

void journal(const char *format, ...) __attribute__((format(printf, 1, 2)));
void journal(const char *format, ...)
{
    StandIn &s = standIn();
    {
        std::lock_guard lock(s.mutex);
        if (!s.calls.keeps()) {
            s.calls.add({}); // counted only: no need to format it
            return;
        }
    }
    char line[160];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    std::lock_guard lock(s.mutex);
    s.calls.add(line);
}

template <typename Predicate> bool waitFor(u32 timeoutMs, Predicate done)
{
    StandIn &s = standIn();
    std::unique_lock lock(s.mutex);
    return s.changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), done);
}

bool allZero(const void *data, size_t size)
{
    const auto *bytes = static_cast<const u8 *>(data);
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i] != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

// ---- Platform calls ----

extern "C" void DiagLogOut(u32 uiLevel, u32 uiLine, const char *pcFile, const char *pcFormat, ...)
{
    HOST_LOG_LINE_S line{};
    line.uiLevel = uiLevel;
    line.uiLine = uiLine;
    snprintf(line.acFile, sizeof line.acFile, "%s", pcFile != nullptr ? pcFile : "(null)");
    va_list args;
    va_start(args, pcFormat);
    vsnprintf(line.acText, sizeof line.acText, pcFormat, args);
    va_end(args);
    size_t length = strlen(line.acText);
    while (length > 0 && line.acText[length - 1] == '\n') {
        line.acText[--length] = '\0';
    }

    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.log.add(line);
    if (s.echo) {
        fprintf(stderr, "%u %s:%u %s\n", uiLevel, line.acFile, uiLine, line.acText);
    }
    if (s.logFile != nullptr) {
        fprintf(s.logFile, "%u %s:%u %s\n", uiLevel, line.acFile, uiLine, line.acText);
        fflush(s.logFile);
    }
    if (s.hook != nullptr) {
        s.hook(&line, s.hookArg);
    }
    s.changed.notify_all();
}

extern "C" int SGPIO_DRV_common(DIAG_PANEL_SGPIO_REQ_S *pstReq)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    if (pstReq == nullptr) {
        return -1;
    }
    switch (pstReq->ucCmd) {
    case DIAG_PANEL_CMD_WRITE:
        if (s.refuseWrites) {
            return -1;
        }
        s.panelCodes.push_back(pstReq->uiData);
        s.changed.notify_all();
        return 0;
    case DIAG_PANEL_CMD_READ:
        if (s.refuseReads) {
            return -1;
        }
        pstReq->uiData = s.version;
        return 0;
    default:
        return -1;
    }
}

extern "C" u32 QMX_GetProductBoardID(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    return s.boardId;
}

extern "C" int QMX_Get_DiagnosticPanel_Present(u8 *pucPresent)
{
    journal("QMX_Get_DiagnosticPanel_Present(%u)", pucPresent != nullptr ? *pucPresent : 0xFFu);
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    if (s.presenceResult != 0) {
        return s.presenceResult;
    }
    *pucPresent = s.present;
    return 0;
}

extern "C" int QMX_Scnprintf(char *pcBuf, size_t size, const char *pcFormat, ...)
{
    if (size == 0) {
        return 0;
    }
    va_list args;
    va_start(args, pcFormat);
    const int wanted = vsnprintf(pcBuf, size, pcFormat, args);
    va_end(args);
    if (wanted < 0) {
        return 0;
    }
    return static_cast<size_t>(wanted) < size ? wanted : static_cast<int>(size - 1);
}

extern "C" int Hal_GetSensorNameCfg(u8 ucSensorNum, u8 ucLun, char *pcName, u32 uiFlag,
                                    u32 uiHalHandle)
{
    const bool zeroed = pcName != nullptr && allZero(pcName, kSensorNameBuffer);
    journal("Hal_GetSensorNameCfg(%#x, %u, %s, %u, %#x)", ucSensorNum, ucLun,
            zeroed ? "zeroed" : "dirty", uiFlag, uiHalHandle);
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    const std::optional<std::string> &name = s.sensorNames[ucSensorNum];
    if (!name || pcName == nullptr) {
        return -1;
    }
    memcpy(pcName, name->c_str(), std::min(name->size() + 1, kSensorNameBuffer));
    return 0;
}

extern "C" int MODULE_GetDiskLocationByInstance(u8 ucInstance, DISK_LOCATION_S *pstLocation)
{
    journal("MODULE_GetDiskLocationByInstance(%#x)", ucInstance);
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    const auto found = s.disks.find(ucInstance);
    if (found == s.disks.end() || pstLocation == nullptr) {
        return -1;
    }
    *pstLocation = found->second;
    return 0;
}

extern "C" int snoop_read_current_bios_code(SNOOP_BIOS_CODE_REQ_S *pstRequest)
{
    const bool zeroed = pstRequest != nullptr && pstRequest->pucCodeBuf != nullptr &&
                        allZero(pstRequest->pucCodeBuf, pstRequest->uiBufSize);
    journal("snoop_read_current_bios_code(%u, %s)",
            pstRequest != nullptr ? pstRequest->uiBufSize : 0, zeroed ? "zeroed" : "dirty");
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    if (s.postResult <= 0 || pstRequest == nullptr || pstRequest->pucCodeBuf == nullptr) {
        return s.postResult <= 0 ? s.postResult : -1;
    }
    const size_t stored = std::min<size_t>(s.postCodes.size(), pstRequest->uiBufSize);
    memcpy(pstRequest->pucCodeBuf, s.postCodes.data(), stored);
    return static_cast<int>(stored);
}

extern "C" int dfc_fan_UpdateFanInstallState(void)
{
    journal("dfc_fan_UpdateFanInstallState()");
    return 0;
}

extern "C" int DFC_ctl_CheckFanErrState(u8 ucFanId)
{
    journal("DFC_ctl_CheckFanErrState(%u)", ucFanId);
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    return s.fansInError.count(ucFanId) != 0 ? 1 : 0;
}

extern "C" int file_lock_write(int fd)
{
    return standIn().lockFails || fd < 0 ? -1 : 0;
}

extern "C" int file_unlock(int fd)
{
    return standIn().unlockFails || fd < 0 ? -1 : 0;
}

// ---- Control interface ----

extern "C" void HOST_Reset(void)
{
    {
        StandIn &s = standIn();
        std::lock_guard lock(s.mutex);
        s.resetBehaviour();
    }
    __atomic_store_n(&g_diag_mode_flag, 0u, __ATOMIC_RELAXED);
    memset(g_astGetALLHDDSensor, 0, sizeof g_astGetALLHDDSensor);
    memset(g_astBPCardInfo, 0, sizeof g_astBPCardInfo);
    memset(&g_stCurrentCardCfgInfo, 0, sizeof g_stCurrentCardCfgInfo);
    memset(g_astAllPcieCardInfo, 0, sizeof g_astAllPcieCardInfo);
    g_uiPcieRaidSlotNum = 0xFF;
}

extern "C" void HOST_LogEcho(int iOn)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.echo = iOn != 0;
}

extern "C" int HOST_LogToFile(const char *pcPath)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    if (s.logFile != nullptr) {
        fclose(s.logFile);
        s.logFile = nullptr;
    }
    if (pcPath == nullptr) {
        return 0;
    }
    s.logFile = fopen(pcPath, "a");
    return s.logFile != nullptr ? 0 : -1;
}

extern "C" u32 HOST_LogCount(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    return s.log.count();
}

extern "C" int HOST_LogGet(u32 uiIndex, HOST_LOG_LINE_S *pstLine)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    const HOST_LOG_LINE_S *line = s.log.at(uiIndex);
    if (line == nullptr || pstLine == nullptr) {
        return -1;
    }
    *pstLine = *line;
    return 0;
}

extern "C" void HOST_LogClear(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.log.clear();
}

extern "C" int HOST_LogWait(u32 uiFrom, const char *pcText, u32 uiTimeoutMs)
{
    StandIn &s = standIn();
    int found = -1;
    u32 next = uiFrom;
    waitFor(uiTimeoutMs, [&] {
        for (; next < s.log.count(); ++next) {
            const HOST_LOG_LINE_S *line = s.log.at(next);
            if (line != nullptr && strstr(line->acText, pcText) != nullptr) {
                found = static_cast<int>(next);
                return true;
            }
        }
        return false;
    });
    return found;
}

extern "C" void HOST_JournalKeep(u32 uiLines)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.log.keep(uiLines);
    s.calls.keep(uiLines);
}

extern "C" void HOST_LogHook(HOST_LOG_HOOK_F pfHook, void *pvArg)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.hook = pfHook;
    s.hookArg = pvArg;
}

extern "C" void HOST_PanelRefuse(int iWrites, int iReads)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.refuseWrites = iWrites != 0;
    s.refuseReads = iReads != 0;
}

extern "C" void HOST_PanelSetVersion(u32 uiVersion)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.version = uiVersion;
}

extern "C" void HOST_PanelSetPresence(int iResult, u8 ucPresent)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.presenceResult = iResult;
    s.present = ucPresent;
}

extern "C" u32 HOST_PanelCount(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    return static_cast<u32>(s.panelCodes.size());
}

extern "C" u32 HOST_PanelCode(u32 uiIndex)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    return uiIndex < s.panelCodes.size() ? s.panelCodes[uiIndex] : 0xFFFFFFFFu;
}

extern "C" void HOST_PanelClear(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.panelCodes.clear();
}

extern "C" int HOST_PanelWait(u32 uiCount, u32 uiTimeoutMs)
{
    StandIn &s = standIn();
    return waitFor(uiTimeoutMs, [&] { return s.panelCodes.size() >= uiCount; }) ? 0 : -1;
}

extern "C" void HOST_SetBoardId(u32 uiBoardId)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.boardId = uiBoardId;
}

extern "C" void HOST_SensorSetName(u8 ucNumber, const char *pcName)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.sensorNames[ucNumber] = pcName != nullptr ? std::optional<std::string>(pcName) : std::nullopt;
}

extern "C" void HOST_SensorClearNames(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.sensorNames.fill(std::nullopt);
}

extern "C" void HOST_DiskSetLocation(u8 ucInstance, u8 ucGroup, u8 ucSlot, u32 uiKind)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    DISK_LOCATION_S location{};
    location.ucGroup = ucGroup;
    location.ucSlot = ucSlot;
    location.uiLocationKind = uiKind;
    s.disks[ucInstance] = location;
}

extern "C" void HOST_DiskClear(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.disks.clear();
}

extern "C" void HOST_PostSetCodes(const u8 *pucCodes, int iResult)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.postResult = iResult;
    s.postCodes.assign(pucCodes, pucCodes + (iResult > 0 && pucCodes != nullptr ? iResult : 0));
}

extern "C" void HOST_FanSetError(u8 ucFanId, int iError)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    if (iError != 0) {
        s.fansInError.insert(ucFanId);
    } else {
        s.fansInError.erase(ucFanId);
    }
}

extern "C" void HOST_FileLockFail(int iLock, int iUnlock)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.lockFails = iLock != 0;
    s.unlockFails = iUnlock != 0;
}

extern "C" u32 HOST_CallCount(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    return s.calls.count();
}

extern "C" int HOST_CallGet(u32 uiIndex, char *pcBuf, size_t size)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    const std::string *line = s.calls.at(uiIndex);
    if (line == nullptr || pcBuf == nullptr || size == 0) {
        return -1;
    }
    snprintf(pcBuf, size, "%s", line->c_str());
    return 0;
}

extern "C" void HOST_CallClear(void)
{
    StandIn &s = standIn();
    std::lock_guard lock(s.mutex);
    s.calls.clear();
}
