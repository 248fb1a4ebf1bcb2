#include "arraysim/FaultTable.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace arraysim {

bool isFaultOperation(const std::string& op) {
    static constexpr std::array<std::string_view, 13> kOperations = {
        "tokens",         "search:volumes", "search:snapshots", "search:groups", "bulk_create",
        "update:snapshots", "update:volumes", "delete:snapshots", "restore",      "debug_log",
        "soap",           "iscsi_login",    "iscsi_logout"};
    return std::find(kOperations.begin(), kOperations.end(), op) != kOperations.end();
}

void FaultTable::add(const FaultSpec& fault) {
    if (!isFaultOperation(fault.op)) throw std::invalid_argument("unknown fault operation '" + fault.op + "'");
    if (fault.count < 1) throw std::invalid_argument("fault count must be at least 1");
    if (fault.delayMs < 0) throw std::invalid_argument("fault delay_ms must not be negative");
    mPending.push_back({fault, fault.count});
}

std::optional<FaultSpec> FaultTable::take(const std::string& groupId, const std::string& op) {
    const auto it = std::find_if(mPending.begin(), mPending.end(), [&](const Pending& p) {
        return p.fault.group == groupId && p.fault.op == op;
    });
    if (it == mPending.end()) return std::nullopt;
    FaultSpec fault = it->fault;
    if (--it->remaining == 0) mPending.erase(it);
    return fault;
}

void FaultTable::clear() { mPending.clear(); }

nlohmann::json FaultTable::toJson() const {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& p : mPending) {
        list.push_back({{"group", p.fault.group}, {"op", p.fault.op}, {"status", p.fault.status},
                        {"code", p.fault.code}, {"text", p.fault.text}, {"remaining", p.remaining},
                        {"delay_ms", p.fault.delayMs}, {"drop", p.fault.drop},
                        {"malformed", p.fault.malformed}});
    }
    return list;
}

}  // namespace arraysim
