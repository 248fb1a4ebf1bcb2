#pragma once
// Array software versions ("6.1.0.0-12345-opt"), the accepted range and the capabilities that a
// version enables. Pure functions: the registry bounds and the array's answer are fetched by
// Vantor::Array, which applies them here.
#include <compare>
#include <cstdint>
#include <set>
#include <string>

namespace Vantor {

// Four numbers compared in order; the build tag and the opt/dbg suffix do not take part.
struct ArrayVersion {
  std::int32_t major = 0;
  std::int32_t minor = 0;
  std::int32_t maintenance = 0;
  std::int32_t build = 0;

  friend auto operator<=>(const ArrayVersion&, const ArrayVersion&) = default;
};

// Used when the lower bound text is empty.
inline constexpr const char* kLowestArrayVersion = "0.0.0.0-0000-opt";
// The upper bound when none is configured: "2147483647.0.0.0-0000-opt".
std::string DefaultMaxArrayVersion();

// Parses `text`, which must match the version pattern as a whole; logs why and returns false when it is not a version string.
bool ParseArrayVersion(const std::string& text, ArrayVersion& out);

// An array that reports major version 0 always passes; otherwise min <= current <= max.
bool IsVersionSupported(const ArrayVersion& current, const ArrayVersion& min, const ArrayVersion& max);

// Identifiers of what an array can do beyond the first REST release; the REST operations
// receive the set to choose their request form.
enum ArrayCapability : std::int32_t {
  CAP_DEBUG_LOG = 0,
  CAP_SNAPSHOT_SET_METADATA = 1,
  CAP_BULK_SNAPSHOT = 2,
};
using CapabilitySet = std::set<std::int32_t>;

// The capabilities of the newest table row that `current` reaches. A major version of 0 (an
// array that does not say, or a version that failed to parse and was let through) gets all.
CapabilitySet CapabilitiesForVersion(const ArrayVersion& current);

}  // namespace Vantor
