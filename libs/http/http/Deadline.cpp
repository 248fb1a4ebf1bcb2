#include "http/Deadline.h"

#include <algorithm>

namespace vantor::http {

Deadline Deadline::after(std::chrono::milliseconds budget, std::optional<Clock::time_point> outer) {
  const Clock::time_point now = Clock::now();
  Clock::time_point end = now + std::max(budget, std::chrono::milliseconds(0));
  if (outer && *outer < end) end = std::max(*outer, now);
  return Deadline(now, end);
}

std::chrono::milliseconds Deadline::remaining() const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(mEnd - Clock::now());
  return std::max(left, std::chrono::milliseconds(0));
}

std::chrono::milliseconds Deadline::cap(std::chrono::milliseconds limit) const {
  return std::max(std::min(limit, remaining()), std::chrono::milliseconds(1));
}

std::chrono::milliseconds Deadline::budget() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(mEnd - mStart);
}

}  // namespace vantor::http
