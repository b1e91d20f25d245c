// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/diagnostics.hpp"

#include <cstdio>

#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

bool Diagnostics::problem(const Source &source, std::string why)
{
    if (++count_ <= kShown) {
        shown_.push_back({source, std::move(why)});
    }
    return !strict_;
}

void ItemOut::add(const Item &item)
{
    items_ += item.kind != Item::Kind::Wait;
    if (sink_) {
        sink_(item);
    }
}

void NameOut::add(const Source &source, u8 number, std::string name, bool preferred)
{
    const auto kept = names.find(number);
    if (kept != names.end()) {
        const auto &[where, standing] = from_.at(number);
        if (standing && !preferred) {
            return;
        }
        if (standing == preferred && kept->second != name) {
            char text[24];
            snprintf(text, sizeof text, "sensor %02Xh", number);
            note(source.where() + ": " + text + " is named again, " + quoted(name) + "; " +
                 where.where() + " named it " + quoted(kept->second) + ", which is kept");
            return;
        }
    }
    names[number] = std::move(name);
    from_.insert_or_assign(number, std::pair{source, preferred});
}

} // namespace diagpanel
