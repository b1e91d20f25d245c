// SPDX-License-Identifier: Apache-2.0
// Log texts as the library writes them: some begin with their unit and source line, "[unit.line]",
// or their unit alone, "[unit]"; the line number moves with every edit of the source.
#pragma once

#include <string_view>

namespace host {

// The text after a leading "[unit.line]" or "[unit]" of a library unit, or the text as it is.
constexpr std::string_view withoutUnitPrefix(std::string_view text)
{
    constexpr std::string_view kUnits[] = {"[DiagnosticPanel_core", "[DiagPanel_hashtable",
                                           "[DiagPanel_DisplayTask", "[DiagPanel_translate"};
    for (const std::string_view unit : kUnits) {
        const std::size_t close = text.find(']');
        if (text.starts_with(unit) && close != std::string_view::npos) {
            return text.substr(close + 1);
        }
    }
    return text;
}

static_assert(withoutUnitPrefix("[DiagPanel_hashtable.123]Point is NULL!") == "Point is NULL!");
static_assert(withoutUnitPrefix("[DiagPanel_translate] Unknown format SEL") ==
              " Unknown format SEL");
static_assert(withoutUnitPrefix("[0x1]Not a unit") == "[0x1]Not a unit");
static_assert(withoutUnitPrefix("Now fault mask is 0x1") == "Now fault mask is 0x1");

} // namespace host
