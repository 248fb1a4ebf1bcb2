#include "array/ArrayVersion.h"

#include <cstddef>
#include <limits>
#include <regex>
#include <utility>
#include <vector>

#include "discovery/ConfigurationKeys.h"
#include "logger/FileLog.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"VantorArray";

// std::regex recurses per character; an answer far longer than any version is refused before
// it can exhaust the stack.
constexpr std::size_t kMaxVersionLength = 256;

// Plain decimal conversion without an overflow check, as the array's own tools do; the
// arithmetic wraps instead of being undefined.
std::int32_t ToInt32(const std::string& digits) {
  std::uint32_t value = 0;
  for (const char c : digits) value = value * 10u + static_cast<std::uint32_t>(c - '0');
  return static_cast<std::int32_t>(value);
}

struct CapabilityRow {
  ArrayVersion minimum;
  std::vector<std::int32_t> capabilities;
};

const std::vector<CapabilityRow>& CapabilityTable() {
  static const std::vector<CapabilityRow> table = [] {
    const std::pair<const char*, std::vector<std::int32_t>> rows[] = {
        {"5.0.0.0-0000-opt", {CAP_BULK_SNAPSHOT}},
        {"5.1.0.0-0000-opt", {CAP_BULK_SNAPSHOT, CAP_DEBUG_LOG, CAP_SNAPSHOT_SET_METADATA}},
    };
    std::vector<CapabilityRow> built;
    for (const auto& [text, capabilities] : rows) {
      CapabilityRow row;
      ParseArrayVersion(text, row.minimum);
      row.capabilities = capabilities;
      built.push_back(std::move(row));
    }
    return built;
  }();
  return table;
}

}  // namespace

std::string DefaultMaxArrayVersion() {
  return std::to_string(std::numeric_limits<std::int32_t>::max()) + ".0.0.0-0000-opt";
}

bool ParseArrayVersion(const std::string& text, ArrayVersion& out) {
  std::smatch match;
  try {
    static const std::regex pattern(discovery::kArrayVersionPattern, std::regex::ECMAScript);
    if (text.size() > kMaxVersionLength || !std::regex_match(text, match, pattern) || match.size() < 8) {
      VA_LOG(MSG_ERROR, L"** Version string %S does not have correct format %S", text, discovery::kArrayVersionPattern);
      return false;
    }
  } catch (const std::regex_error&) {
    VA_LOG(MSG_ERROR, L"** Error getting substrings of the version string %S", text);
    return false;
  }
  out.major = ToInt32(match[1].str());
  out.minor = ToInt32(match[3].str());
  out.maintenance = ToInt32(match[5].str());
  out.build = ToInt32(match[7].str());
  return true;
}

bool IsVersionSupported(const ArrayVersion& current, const ArrayVersion& min, const ArrayVersion& max) {
  if (current.major == 0) return true;
  if (current < min) {
    VA_LOG(MSG_ERROR, L"  ** Current array version is smaller than min version supported");
    return false;
  }
  return current <= max;
}

CapabilitySet CapabilitiesForVersion(const ArrayVersion& current) {
  CapabilitySet capabilities;
  const auto& table = CapabilityTable();
  for (auto row = table.rbegin(); row != table.rend(); ++row) {
    if (current.major == 0 || row->minimum <= current) {
      capabilities.insert(row->capabilities.begin(), row->capabilities.end());
      break;
    }
  }
  return capabilities;
}

}  // namespace Vantor
