// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/sdr.hpp"

#include "tools/diagpanel/readers/capture.hpp"

namespace diagpanel {

namespace {

SensorNames namesOf(NameOut &out)
{
    return {out.form, std::move(out.names), out.shown(), out.problems(), out.notes()};
}

} // namespace

SensorNames readSdr(const std::string &path, bool strict)
{
    NameOut out(path, strict);
    readSdr(path, out);
    return namesOf(out);
}

SensorNames parseSdr(const std::string &name, std::string_view content, bool strict)
{
    NameOut out(name, strict);
    InputFile input = InputFile::memory(content);
    readSdr(input, out);
    return namesOf(out);
}

} // namespace diagpanel
