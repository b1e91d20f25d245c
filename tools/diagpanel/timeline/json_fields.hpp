// SPDX-License-Identifier: Apache-2.0
// The fields a JSON line gives a panel code, for those who speak of a code outside a timeline.
#pragma once

#include <nlohmann/json.hpp>

#include <diagpanel/types.h>

namespace diagpanel {

// {"code": "0x00004010", "words": ..., and "fault_type", "index", "level" when decoded}
nlohmann::json codeJson(u32 code);

} // namespace diagpanel
