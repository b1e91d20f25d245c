// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/commands/problems.hpp"

#include <cstdio>

namespace diagpanel {

void reportProblems(const std::string &file, const std::vector<Problem> &shown, std::size_t count,
                    bool strict)
{
    const char *outcome = strict ? "stopped" : "skipped";
    for (const Problem &p : shown) {
        fprintf(stderr, "diagpanel: %s: %s (%s)\n", p.source.where().c_str(), p.why.c_str(),
                outcome);
    }
    if (count > shown.size()) {
        fprintf(stderr, "diagpanel: %s: ... and %zu more unreadable lines or records (%s)\n",
                file.c_str(), count - shown.size(), outcome);
    }
}

} // namespace diagpanel
