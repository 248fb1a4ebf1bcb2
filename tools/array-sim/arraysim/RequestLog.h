#pragma once
// What the groups were asked: per group and operation counts, the requests in arrival order and
// the TCP connections each group's REST server accepted. Not locked: the array state owns one
// and guards it with its mutex.

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

namespace arraysim {

class RequestLog {
public:
    // Returns a ticket for finish(); the entry shows status 0 until then (and stays so for a
    // request whose connection was dropped).
    std::uint64_t begin(const std::string& groupId, const std::string& op, const std::string& method,
                        const std::string& path);
    // The outcome, logged before the answer leaves (a client holding the answer finds it here);
    // finish() accounts the time once it has left and may still change the outcome.
    void note(std::uint64_t ticket, int status, bool injected);
    void finish(std::uint64_t ticket, int status, bool injected);
    void countConnection(const std::string& groupId);
    int count(const std::string& groupId, const std::string& op) const;
    int connections(const std::string& groupId) const;
    // Milliseconds the group spent on finished requests, from arrival to answer (injected delays
    // included): what a benchmark subtracts from a client's wall time to get the client's own.
    double accountedMs(const std::string& groupId) const;
    void reset();
    nlohmann::json toJson() const;

private:
    struct Entry {
        std::uint64_t ticket;
        std::string group;
        std::string op;
        std::string method;
        std::string path;
        int status = 0;
        bool injected = false;
        std::chrono::steady_clock::time_point arrived = std::chrono::steady_clock::now();
        double ms = 0;
    };
    static constexpr std::size_t kMaxEntries = 20000;  // counts stay exact beyond this

    Entry* find(std::uint64_t ticket);

    std::uint64_t mNextTicket = 1;
    std::deque<Entry> mEntries;
    std::map<std::pair<std::string, std::string>, int> mCounts;
    std::map<std::string, int> mConnections;
    std::map<std::string, double> mAccountedMs;
};

}  // namespace arraysim
