// SPDX-License-Identifier: Apache-2.0
// The reader of ipmitool sdr dump binaries, on any bytes.
#include "tests/fuzz/reader_fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return fuzz::readSdr(data, size, diagpanel::readSdrDump);
}
