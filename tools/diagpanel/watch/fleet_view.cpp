// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/fleet_view.hpp"

#include "tools/diagpanel/panel_code.hpp"

namespace diagpanel {

namespace {
constexpr unsigned kPostType = 8;
constexpr unsigned kPostEndIndex = 0x99;
} // namespace

std::vector<ActiveFault> activeFaults(const nlohmann::json &faults)
{
    std::vector<ActiveFault> entries;
    for (const nlohmann::json &entry : faults) {
        entries.push_back({entry.value("fault_type", 0), entry.value("type", ""),
                           entry.value("index", ""), entry.value("mask", 0U),
                           entry.value("level", 0)});
    }
    return entries;
}

const char *postPhase(std::optional<u32> code)
{
    const tools::DecodedCode d = code ? tools::decodePanelCode(*code) : tools::DecodedCode{};
    if (!d.valid || d.faultType != kPostType) {
        return "none";
    }
    if (d.level == 1) {
        return d.index == kPostEndIndex ? "end" : "progress";
    }
    return "error";
}

void FleetView::update(const std::string &bmc, BmcView view)
{
    {
        const std::lock_guard guard(lock_);
        view.version = ++version_;
        bmcs_[bmc] = std::move(view);
        removed_.erase(bmc);
    }
    changed_.notify_all();
}

void FleetView::updateCounters(const std::string &bmc, const WatchedBmc::Status &status)
{
    const std::lock_guard guard(lock_);
    if (const auto found = bmcs_.find(bmc); found != bmcs_.end()) {
        found->second.status = status;
    }
}

void FleetView::remove(const std::string &bmc)
{
    {
        const std::lock_guard guard(lock_);
        if (bmcs_.erase(bmc) == 0) {
            return;
        }
        removed_[bmc] = ++version_;
    }
    changed_.notify_all();
}

void FleetView::forEach(
    const std::function<void(const std::string &, const BmcView &)> &visit) const
{
    const std::lock_guard guard(lock_);
    for (const auto &[bmc, view] : bmcs_) {
        visit(bmc, view);
    }
}

std::optional<BmcView> FleetView::one(const std::string &bmc) const
{
    const std::lock_guard guard(lock_);
    const auto found = bmcs_.find(bmc);
    return found == bmcs_.end() ? std::nullopt : std::optional(found->second);
}

FleetView::Changes FleetView::changesSince(uint64_t version, std::chrono::milliseconds wait) const
{
    std::unique_lock guard(lock_);
    changed_.wait_for(guard, wait, [&] { return closed_ || version_ > version; });
    Changes changes;
    changes.version = version_;
    changes.closed = closed_;
    for (const auto &[bmc, view] : bmcs_) {
        if (view.version > version) {
            changes.changed.emplace(bmc, view);
        }
    }
    for (const auto &[bmc, when] : removed_) {
        if (when > version) {
            changes.removed.push_back(bmc);
        }
    }
    return changes;
}

void FleetView::close()
{
    {
        const std::lock_guard guard(lock_);
        closed_ = true;
    }
    changed_.notify_all();
}

} // namespace diagpanel
