// SPDX-License-Identifier: Apache-2.0
#include "host_support/frames.hpp"

#include <cstring>
#include <memory>

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

} // namespace host
