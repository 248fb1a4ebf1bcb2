#pragma once
// Injected failures, per group and operation, consumed by the requests they hit. Not locked:
// the array state owns one and guards it with its mutex.

#include "arraysim/Simulator.h"

#include <optional>
#include <string>
#include <vector>

namespace arraysim {

// The operation names a fault can name (the request log uses the same names, plus a few of its
// own for requests no fault can target).
bool isFaultOperation(const std::string& op);

// The longest list an oversize fault makes: enough to show that a client bounds what it reads,
// small enough that the simulator itself never runs short of memory.
inline constexpr int kMaxOversize = 100000;
// Flooded and deeply nested answers are made while they are sent, so they can be far larger
// than the simulator's own memory allows.
inline constexpr long long kMaxFloodBytes = 4LL * 1024 * 1024 * 1024;
inline constexpr int kMaxNestDepth = 1000 * 1000 * 1000;

class FaultTable {
public:
    // Throws std::invalid_argument for an unknown operation, a count below 1 or a member out
    // of its range.
    void add(const FaultSpec& fault);
    // The fault that the next request of this operation on this group meets, if any; each
    // call uses up one of its skip or, once those are gone, one of its count.
    std::optional<FaultSpec> take(const std::string& groupId, const std::string& op);
    void clear();
    nlohmann::json toJson() const;

private:
    struct Pending {
        FaultSpec fault;
        int toSkip;
        int remaining;
    };
    std::vector<Pending> mPending;
};

}  // namespace arraysim
