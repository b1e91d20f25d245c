// SPDX-License-Identifier: Apache-2.0
// The reader of hex lines: ipmiutil sel -r, Get SEL Entry replies, on any bytes.
#include "tests/fuzz/reader_fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return fuzz::readSel(data, size, diagpanel::Format::Hex);
}
