#include "arraysim/RequestLog.h"

#include <algorithm>

namespace arraysim {

std::uint64_t RequestLog::begin(const std::string& groupId, const std::string& op,
                                const std::string& method, const std::string& path) {
    const std::uint64_t ticket = mNextTicket++;
    mEntries.push_back({ticket, groupId, op, method, path});
    if (mEntries.size() > kMaxEntries) mEntries.pop_front();
    ++mCounts[{groupId, op}];
    return ticket;
}

void RequestLog::finish(std::uint64_t ticket, int status, bool injected) {
    // Entries are in ticket order; a reset in between leaves nothing to update.
    const auto it = std::lower_bound(mEntries.begin(), mEntries.end(), ticket,
                                     [](const Entry& e, std::uint64_t t) { return e.ticket < t; });
    if (it == mEntries.end() || it->ticket != ticket) return;
    it->status = status;
    it->injected = injected;
}

void RequestLog::countConnection(const std::string& groupId) { ++mConnections[groupId]; }

int RequestLog::count(const std::string& groupId, const std::string& op) const {
    const auto it = mCounts.find({groupId, op});
    return it == mCounts.end() ? 0 : it->second;
}

int RequestLog::connections(const std::string& groupId) const {
    const auto it = mConnections.find(groupId);
    return it == mConnections.end() ? 0 : it->second;
}

void RequestLog::reset() {
    mEntries.clear();
    mCounts.clear();
    mConnections.clear();
}

nlohmann::json RequestLog::toJson() const {
    nlohmann::json groups = nlohmann::json::object();
    for (const auto& [key, n] : mCounts) groups[key.first]["counts"][key.second] = n;
    for (const auto& [group, n] : mConnections) groups[group]["connections"] = n;
    for (auto& [group, entry] : groups.items()) {
        if (!entry.contains("counts")) entry["counts"] = nlohmann::json::object();
        if (!entry.contains("connections")) entry["connections"] = 0;
    }
    nlohmann::json requests = nlohmann::json::array();
    for (const auto& e : mEntries) {
        requests.push_back({{"group", e.group}, {"op", e.op}, {"method", e.method}, {"path", e.path},
                            {"status", e.status}, {"injected", e.injected}});
    }
    return {{"groups", groups}, {"requests", requests}};
}

}  // namespace arraysim
