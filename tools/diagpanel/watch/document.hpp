// SPDX-License-Identifier: Apache-2.0
// A config or target file as one tree, whether written in JSON or YAML, and the checks its
// readers make of each value, with messages that say where the value is.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include <diagpanel/types.h>

namespace diagpanel {

using Document = nlohmann::ordered_json;

// JSON when the name ends in .json or the text starts with '{' or '[', else YAML. YAML's plain
// scalars become numbers when written as decimal numbers, booleans as true or false, nothing as
// null or ~; any other is a string, so a board written 0x01030103 stays as written.
Document parseDocument(const std::string &path, std::string_view text);

// The whole of a file, or an InventoryError naming it.
std::string readWholeFile(const std::string &path);

[[noreturn]] void fail(const std::string &where, const std::string &what);

// `where` names the value in messages, as "bmc.json: entry 2: labels". number_float accepts
// any number, number_integer any whole one.
const Document &expect(const Document &value, Document::value_t type, const std::string &where);
const std::string &expectString(const Document &value, const std::string &where);
// An object's keys must all be known: a misspelt key must not drop its setting silently.
void expectKeys(const Document &object, std::initializer_list<std::string_view> known,
                const std::string &where);

// A supported board written in hex, as --board takes it, in a module or a target's label; throws
// InventoryError with the reason alone.
u32 inventoryBoard(std::string_view text);

} // namespace diagpanel
