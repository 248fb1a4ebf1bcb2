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

RequestLog::Entry* RequestLog::find(std::uint64_t ticket) {
    // Entries are in ticket order; a reset in between leaves nothing to update.
    const auto it = std::lower_bound(mEntries.begin(), mEntries.end(), ticket,
                                     [](const Entry& e, std::uint64_t t) { return e.ticket < t; });
    return it == mEntries.end() || it->ticket != ticket ? nullptr : &*it;
}

void RequestLog::note(std::uint64_t ticket, int status, bool injected) {
    if (Entry* const entry = find(ticket)) {
        entry->status = status;
        entry->injected = injected;
    }
}

void RequestLog::finish(std::uint64_t ticket, int status, bool injected) {
    Entry* const it = find(ticket);
    if (it == nullptr) return;
    it->status = status;
    it->injected = injected;
    it->ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - it->arrived).count();
    mAccountedMs[it->group] += it->ms;
}

double RequestLog::accountedMs(const std::string& groupId) const {
    const auto it = mAccountedMs.find(groupId);
    return it == mAccountedMs.end() ? 0.0 : it->second;
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
    mAccountedMs.clear();
}

nlohmann::json RequestLog::toJson() const {
    nlohmann::json groups = nlohmann::json::object();
    for (const auto& [key, n] : mCounts) groups[key.first]["counts"][key.second] = n;
    for (const auto& [group, n] : mConnections) groups[group]["connections"] = n;
    for (const auto& [group, ms] : mAccountedMs) groups[group]["accounted_ms"] = ms;
    for (auto& [group, entry] : groups.items()) {
        if (!entry.contains("counts")) entry["counts"] = nlohmann::json::object();
        if (!entry.contains("connections")) entry["connections"] = 0;
    }
    nlohmann::json requests = nlohmann::json::array();
    for (const auto& e : mEntries) {
        requests.push_back({{"group", e.group}, {"op", e.op}, {"method", e.method}, {"path", e.path},
                            {"status", e.status}, {"injected", e.injected}, {"ms", e.ms}});
    }
    return {{"groups", groups}, {"requests", requests}};
}

}  // namespace arraysim
