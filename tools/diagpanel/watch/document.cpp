// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/document.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <system_error>
#include <fstream>
#include <sstream>

#include <yaml-cpp/yaml.h>

#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/watch/inventory.hpp"
#include <boards/catalogue.hpp>

namespace diagpanel {

namespace {

bool looksLikeJson(const std::string &path, std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    return path.ends_with(".json") ||
           (first != std::string_view::npos && (text[first] == '{' || text[first] == '['));
}

// A plain YAML scalar as YAML 1.2's core schema reads it, less the forms (hex, octal, .inf) that
// would turn a board identifier into a number.
Document plainScalar(const std::string &text)
{
    if (text.empty() || text == "~" || text == "null") {
        return nullptr;
    }
    if (text == "true" || text == "false") {
        return text == "true";
    }
    const char *end = text.data() + text.size();
    long long whole = 0;
    if (const auto r = std::from_chars(text.data(), end, whole);
        r.ec == std::errc() && r.ptr == end) {
        return whole;
    }
    const bool decimal = text.find_first_not_of("0123456789.-+eE") == std::string::npos;
    double fraction = 0;
    if (const auto r = std::from_chars(text.data(), end, fraction);
        decimal && r.ec == std::errc() && r.ptr == end) {
        return fraction;
    }
    return text;
}

Document fromYaml(const YAML::Node &node)
{
    switch (node.Type()) {
    case YAML::NodeType::Scalar:
        // yaml-cpp tags a quoted scalar "!": a string, whatever it looks like.
        return node.Tag() == "!" ? Document(node.Scalar()) : plainScalar(node.Scalar());
    case YAML::NodeType::Sequence: {
        Document list = Document::array();
        for (const YAML::Node &item : node) {
            list.push_back(fromYaml(item));
        }
        return list;
    }
    case YAML::NodeType::Map: {
        Document object = Document::object();
        for (const auto &entry : node) {
            object[entry.first.Scalar()] = fromYaml(entry.second);
        }
        return object;
    }
    default:
        return nullptr;
    }
}

// A value's type as a message names it.
const char *kind(Document::value_t type)
{
    switch (type) {
    case Document::value_t::array:
        return "a list";
    case Document::value_t::object:
        return "a map";
    case Document::value_t::string:
        return "a string";
    case Document::value_t::boolean:
        return "true or false";
    case Document::value_t::null:
        return "nothing";
    case Document::value_t::number_integer:
    case Document::value_t::number_unsigned:
        return "a whole number";
    default:
        return "a number";
    }
}

} // namespace

Document parseDocument(const std::string &path, std::string_view text)
{
    if (looksLikeJson(path, text)) {
        try {
            return Document::parse(text);
        } catch (const nlohmann::json::parse_error &e) {
            // "[json.exception.parse_error.101] parse error at line 2, ...": the part after "] ".
            const std::string_view what = e.what();
            fail(path, "not valid JSON: " + std::string(what.substr(what.find("] ") + 2)));
        }
    }
    try {
        return fromYaml(YAML::Load(std::string(text)));
    } catch (const YAML::Exception &e) {
        fail(path, "line " + std::to_string(e.mark.line + 1) + ": not valid YAML: " + e.msg);
    }
}

std::string readWholeFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (!in || !(text << in.rdbuf())) {
        fail(path, std::string("cannot read: ") + std::generic_category().message(errno));
    }
    return text.str();
}

void fail(const std::string &where, const std::string &what)
{
    throw InventoryError(where + ": " + what);
}

const Document &expect(const Document &value, Document::value_t type, const std::string &where)
{
    using T = Document::value_t;
    const bool matches = type == T::number_float     ? value.is_number()
                         : type == T::number_integer ? value.is_number_integer()
                                                     : value.type() == type;
    if (!matches) {
        fail(where, std::string("must be ") + kind(type) + ", not " + kind(value.type()));
    }
    return value;
}

const std::string &expectString(const Document &value, const std::string &where)
{
    return expect(value, Document::value_t::string, where).get_ref<const std::string &>();
}

void expectKeys(const Document &object, std::initializer_list<std::string_view> known,
                const std::string &where)
{
    for (const auto &[key, value] : object.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            std::string why = "unknown key '" + key + "' (known: ";
            const char *separator = "";
            for (const std::string_view k : known) {
                why += separator;
                why += k;
                separator = ", ";
            }
            why += ")";
            fail(where, why);
        }
    }
}

u32 inventoryBoard(std::string_view text)
{
    const std::optional<unsigned long> id = boardId(text);
    if (!id) {
        throw InventoryError(
            diagpanel::quoted(text) +
            " is not a board identifier: write it in hex, as 0x01030103 or 01030103h");
    }
    const auto rows = diag::boardTable();
    if (std::none_of(rows.begin(), rows.end(),
                     [&](const diag::BoardRow &b) { return b.uiBoardId == *id; })) {
        throw InventoryError(std::string(text) +
                             " is not a supported board (diagpanel boards lists them)");
    }
    return static_cast<u32>(*id);
}

} // namespace diagpanel
