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
    if (fault.skip < 0) throw std::invalid_argument("fault skip must not be negative");
    if (fault.trickleMs < 0) throw std::invalid_argument("fault trickle_ms must not be negative");
    if (fault.trickleBytes < 1) throw std::invalid_argument("fault trickle_bytes must be at least 1");
    if (fault.oversize < 0 || fault.oversize > kMaxOversize) {
        throw std::invalid_argument("fault oversize must be between 0 and " + std::to_string(kMaxOversize));
    }
    if (fault.floodBytes < 0 || fault.floodBytes > kMaxFloodBytes) {
        throw std::invalid_argument("fault flood_bytes must be between 0 and " + std::to_string(kMaxFloodBytes));
    }
    if (fault.nestDepth < 0 || fault.nestDepth > kMaxNestDepth) {
        throw std::invalid_argument("fault nest_depth must be between 0 and " + std::to_string(kMaxNestDepth));
    }
    mPending.push_back({fault, fault.skip, fault.count});
}

std::optional<FaultSpec> FaultTable::take(const std::string& groupId, const std::string& op) {
    const auto it = std::find_if(mPending.begin(), mPending.end(), [&](const Pending& p) {
        return p.fault.group == groupId && p.fault.op == op;
    });
    if (it == mPending.end()) return std::nullopt;
    if (it->toSkip > 0) {
        --it->toSkip;
        return std::nullopt;
    }
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
                        {"malformed", p.fault.malformed}, {"skip", p.toSkip}, {"lost", p.fault.lost},
                        {"trickle_ms", p.fault.trickleMs}, {"trickle_bytes", p.fault.trickleBytes},
                        {"wrong_type", p.fault.wrongType}, {"omit", p.fault.omit},
                        {"oversize", p.fault.oversize}, {"flood_bytes", p.fault.floodBytes},
                        {"nest_depth", p.fault.nestDepth}});
    }
    return list;
}

}  // namespace arraysim
