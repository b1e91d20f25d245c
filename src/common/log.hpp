// SPDX-License-Identifier: Apache-2.0
// Logging through the platform's DiagLogOut. Each source file names its unit once, as kLogUnit.
//
// Log texts are part of the system's behaviour: the firmware's tooling and the tests match the
// unit, the level and the text character for character. Keep every text verbatim, spelling and
// spacing included ("Unknow state", "Uncorrect  length", "nessage"): correcting one breaks whoever
// matches it. A misspelt text carries a short pointer back to this note.
#pragma once

#include <platform/platform.h>

namespace diag {

enum LogLevel : u32 {
    kLogError = 2,
    kLogNotice = 3,
    kLogWarning = 4,
    kLogInfo = 6,
    kLogDebug = 7,
};

} // namespace diag

#define DIAG_LOG(level, fmt, ...)                                                                  \
    DiagLogOut((level), __LINE__, kLogUnit, fmt __VA_OPT__(, ) __VA_ARGS__)

// For texts that begin "[%s.%u]": the unit and the line come first.
#define DIAG_LOG_AT(level, fmt, ...)                                                               \
    DiagLogOut((level), __LINE__, kLogUnit, fmt, kLogUnit, u32{__LINE__} __VA_OPT__(, ) __VA_ARGS__)
