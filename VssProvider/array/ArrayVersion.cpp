#include "array/ArrayVersion.h"

#include <array>
#include <cstddef>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "discovery/ConfigurationKeys.h"
#include "logger/FileLog.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"VantorArray";

// Plain decimal conversion without an overflow check, as the array's own tools do; the
// arithmetic wraps instead of being undefined.
std::int32_t ToInt32(std::string_view digits) {
  std::uint32_t value = 0;
  for (const char c : digits) value = value * 10u + static_cast<std::uint32_t>(c - '0');
  return static_cast<std::int32_t>(value);
}

// ASCII classes of the version pattern, independent of the C locale.
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsTagCharacter(char c) { return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Walks the text once, left to right, with a cursor that knows the end; the whole text must
// be consumed.
class VersionCursor {
 public:
  explicit VersionCursor(std::string_view text) : mText(text) {}
  // One or more characters of the class; empty when there are none.
  template <class Predicate>
  std::string_view Run(Predicate accepted) {
    const std::size_t start = mPos;
    while (mPos < mText.size() && accepted(mText[mPos])) ++mPos;
    return mText.substr(start, mPos - start);
  }
  bool Take(char c) {
    if (mPos >= mText.size() || mText[mPos] != c) return false;
    ++mPos;
    return true;
  }
  std::string_view Rest() const { return mText.substr(mPos); }

 private:
  std::string_view mText;
  std::size_t mPos = 0;
};

// The four numbers of "N.N.N.N-TAG-opt" (or "-dbg"); false for anything else.
bool MatchVersion(std::string_view text, std::array<std::int32_t, 4>& numbers) {
  VersionCursor cursor(text);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0 && !cursor.Take('.')) return false;
    const std::string_view digits = cursor.Run(IsDigit);
    if (digits.empty()) return false;
    numbers[i] = ToInt32(digits);
  }
  if (!cursor.Take('-') || cursor.Run(IsTagCharacter).empty() || !cursor.Take('-')) return false;
  return cursor.Rest() == "opt" || cursor.Rest() == "dbg";
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
  std::array<std::int32_t, 4> numbers{};
  if (!MatchVersion(text, numbers)) {
    VA_LOG(MSG_ERROR, L"** Version string %S does not have correct format %S", text, discovery::kArrayVersionPattern);
    return false;
  }
  out.major = numbers[0];
  out.minor = numbers[1];
  out.maintenance = numbers[2];
  out.build = numbers[3];
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
