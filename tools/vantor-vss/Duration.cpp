#include "Duration.h"

#include <cstdint>
#include <stdexcept>

namespace vantorvss {
namespace {

// A hundred years: longer than any snapshot lives, short enough never to overflow.
constexpr std::int64_t kMaxSeconds = 100LL * 365 * 24 * 3600;

std::int64_t UnitSeconds(char unit) {
  switch (unit) {
    case 's': return 1;
    case 'm': return 60;
    case 'h': return 3600;
    case 'd': return 86400;
    default: return 0;
  }
}

}  // namespace

std::chrono::seconds ParseDuration(const std::string& text) {
  const auto bad = [&](const std::string& why) {
    return std::invalid_argument("'" + text + "' is not a duration (" + why +
                                 "); write e.g. 30m, 24h or 7d (units s, m, h, d)");
  };
  if (text.empty()) throw bad("empty");
  std::int64_t total = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    std::int64_t number = 0;
    const std::size_t start = i;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
      number = number * 10 + (text[i] - '0');
      if (number > kMaxSeconds) throw bad("too long");
    }
    if (i == start) throw bad("a number must come first");
    if (i == text.size()) throw bad("the number " + text.substr(start) + " has no unit");
    const std::int64_t unit = UnitSeconds(text[i]);
    if (unit == 0) throw bad(std::string("unknown unit '") + text[i] + "'");
    ++i;
    total += number * unit;
    if (total > kMaxSeconds) throw bad("too long");
  }
  return std::chrono::seconds(total);
}

}  // namespace vantorvss
