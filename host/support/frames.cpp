// SPDX-License-Identifier: Apache-2.0
#include "host_support/frames.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>

namespace host {

int postFrame(u8 msgType, std::span<const u8> body, u8 severity)
{
    // Words, so that the header is aligned as a caller's would be.
    const std::size_t words = (sizeof(DIAG_PANEL_PIPE_MSG_S) + body.size() + 3) / sizeof(u32);
    const std::unique_ptr<u32[]> buffer(new u32[words]());
    auto *frame = reinterpret_cast<DIAG_PANEL_PIPE_MSG_S *>(buffer.get());
    frame->ucMsgType = msgType;
    frame->ucSelLevel = severity;
    frame->uiLen = static_cast<u32>(body.size());
    if (!body.empty()) {
        memcpy(frame->aucBuf, body.data(), body.size());
    }
    return DIAG_PANEL_TRANS_postMessage(frame);
}

int postSel(const SelBytes &record, u8 severity)
{
    return postFrame(DIAG_PANEL_MSG_TYPE_SEL, record, severity);
}

int postEvent(u32 type, u8 percent)
{
    std::array<u8, DIAG_PANEL_EVENT_LEN> body{};
    memcpy(body.data(), &type, sizeof type);
    body[4] = percent;
    return postFrame(DIAG_PANEL_MSG_TYPE_EVENT, body);
}

Bytes frameBytes(u8 msgType, std::span<const u8> body, u32 length, std::optional<u16> headerSum,
                 std::optional<u16> bodySum)
{
    const auto sum = [](std::span<const u8> bytes) {
        return static_cast<u16>(std::accumulate(bytes.begin(), bytes.end(), 0u));
    };
    Bytes out(sizeof(DIAG_PANEL_PIPE_MSG_S) + body.size(), 0);
    const u32 magic = DIAG_PANEL_PIPE_MAGIC;
    const u16 bodyChecksum = bodySum.value_or(sum(body));
    memcpy(&out[0], &magic, sizeof magic);
    out[4] = msgType;
    memcpy(&out[8], &length, sizeof length);
    memcpy(&out[12], &bodyChecksum, sizeof bodyChecksum);
    const u16 headChecksum = headerSum.value_or(sum(std::span(out).subspan(4, 10)));
    memcpy(&out[14], &headChecksum, sizeof headChecksum);
    std::copy(body.begin(), body.end(), out.begin() + sizeof(DIAG_PANEL_PIPE_MSG_S));
    return out;
}

Bytes markerFrame(u32 type)
{
    std::array<u8, DIAG_PANEL_EVENT_LEN> body{};
    memcpy(body.data(), &type, sizeof type);
    return frameBytes(DIAG_PANEL_MSG_TYPE_EVENT, body, DIAG_PANEL_EVENT_LEN);
}

std::string markerLine(u32 type)
{
    char text[48];
    snprintf(text, sizeof text, "Unknown event type: %#x", type);
    return text;
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace host
