// SPDX-License-Identifier: Apache-2.0
// One reader of diagpanel's on any bytes: each reader's target is built from this file, with
// FUZZ_READER (CMakeLists.txt) the reading it runs.
#include "tests/fuzz/reader_fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return fuzz::FUZZ_READER(data, size);
}
