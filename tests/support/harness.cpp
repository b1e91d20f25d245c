#include "tests/support/harness.hpp"

#include <atomic>
#include <dirent.h>
#include <cstring>

namespace test {

std::vector<LogLine> LogCursor::lines() const
{
    std::vector<LogLine> out;
    for (u32 i = from_; i < HOST_LogCount(); ++i) {
        HOST_LOG_LINE_S line{};
        if (HOST_LogGet(i, &line) == 0) {
            out.push_back({line.uiLevel, line.acFile, line.acText});
        }
    }
    return out;
}

std::vector<std::string> LogCursor::texts() const
{
    std::vector<std::string> out;
    for (const LogLine &line : lines()) {
        out.push_back(line.text);
    }
    return out;
}

bool LogCursor::contains(const std::string &text) const
{
    for (const LogLine &line : lines()) {
        if (line.text.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::vector<u32> PanelCursor::codes() const
{
    std::vector<u32> out;
    for (u32 i = from_; i < HOST_PanelCount(); ++i) {
        out.push_back(HOST_PanelCode(i));
    }
    return out;
}

std::vector<std::string> CallCursor::calls() const
{
    std::vector<std::string> out;
    for (u32 i = from_; i < HOST_CallCount(); ++i) {
        char line[200];
        if (HOST_CallGet(i, line, sizeof line) == 0) {
            out.emplace_back(line);
        }
    }
    return out;
}

SelBytes sel(u8 sensorType, u8 sensorNumber, u8 eventDirType, u8 data1, u8 data2, u8 data3,
             u8 generatorLun)
{
    return host::systemEventRecord(sensorType, sensorNumber, eventDirType, data1, data2, data3,
                                   generatorLun);
}

int postFrame(u8 msgType, const std::vector<u8> &body, u8 severity)
{
    // Words, so the frame's header is aligned as a caller's would be.
    std::vector<u32> buffer((sizeof(DIAG_PANEL_PIPE_MSG_S) + body.size() + 3) / 4);
    auto *frame = reinterpret_cast<DIAG_PANEL_PIPE_MSG_S *>(buffer.data());
    frame->ucMsgType = msgType;
    frame->ucSelLevel = severity;
    frame->uiLen = static_cast<u32>(body.size());
    memcpy(frame->aucBuf, body.data(), body.size());
    return DIAG_PANEL_TRANS_postMessage(frame);
}

int postSel(const SelBytes &record, u8 severity)
{
    return postFrame(DIAG_PANEL_MSG_TYPE_SEL, {record.begin(), record.end()}, severity);
}

int postEvent(u32 type, u8 percent)
{
    std::vector<u8> body(DIAG_PANEL_EVENT_LEN, 0);
    memcpy(body.data(), &type, sizeof type);
    body[4] = percent;
    return postFrame(DIAG_PANEL_MSG_TYPE_EVENT, body);
}

bool waitForLine(u32 from, const std::string &text)
{
    for (;;) {
        const int found = HOST_LogWait(from, text.c_str(), 10000);
        if (found < 0) {
            return false;
        }
        HOST_LOG_LINE_S line{};
        if (HOST_LogGet(static_cast<u32>(found), &line) == 0 && text == line.acText) {
            return true;
        }
        from = static_cast<u32>(found) + 1; // a longer line that merely contains the text
    }
}

bool drainIntake()
{
    // An event type the dispatch refuses is logged with its number and changes nothing: it makes
    // a marker that the intake reaches only after everything posted before it.
    static std::atomic<u32> next{0xD7A10000};
    const u32 marker = next++;
    const u32 from = HOST_LogCount();
    if (postEvent(marker) != 0) {
        return false;
    }
    char text[64];
    snprintf(text, sizeof text, "Unknown event type: %#x", marker);
    return waitForLine(from, text);
}

std::vector<Entry> tableSnapshot()
{
    std::vector<Entry> out;
    pthread_mutex_lock(&g_HashMutex);
    for (u32 bucket = 0; g_stHashHandle.ppstList != nullptr && bucket < g_stHashHandle.uiListNum;
         ++bucket) {
        for (const DIAG_PANEL_NODE_S *node = g_stHashHandle.ppstList[bucket]; node != nullptr;
             node = node->pstNext) {
            out.push_back({bucket, node->stMsg, node->ucDisplayed});
        }
    }
    pthread_mutex_unlock(&g_HashMutex);
    return out;
}

namespace {
int countEntries(const char *directory)
{
    int count = 0;
    if (DIR *dir = opendir(directory)) {
        while (const dirent *entry = readdir(dir)) {
            count += entry->d_name[0] != '.';
        }
        closedir(dir);
    }
    return count;
}
} // namespace

int threadCount()
{
    return countEntries("/proc/self/task");
}

int openFileCount()
{
    return countEntries("/proc/self/fd") - 1; // less the one listing them
}

DIAG_PANEL_MSG_S message(u16 type, u8 index, u8 levelInfo, u32 mask, u8 faultLevel)
{
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = type;
    msg.ucIndex = index;
    msg.ucLevelInfo = levelInfo;
    msg.uiFaultMask = mask;
    msg.ucFaultLevel = faultLevel;
    return msg;
}

} // namespace test
