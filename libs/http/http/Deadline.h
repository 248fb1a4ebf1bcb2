#pragma once
// The moment by which a whole exchange must be over. A socket timeout bounds one wait; an
// answer trickled a byte at a time never trips it. So each blocking step of an exchange
// (connect, TLS handshake, writing the request, waiting for the answer) waits at most for
// what is left of one budget, and the backends cut the exchange off when it runs out.
#include <chrono>
#include <optional>

namespace vantor::http {

class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  // `budget` from now, brought forward to `outer` when that comes first.
  static Deadline after(std::chrono::milliseconds budget, std::optional<Clock::time_point> outer = std::nullopt);

  Clock::time_point at() const { return mEnd; }
  // What is left, never below zero.
  std::chrono::milliseconds remaining() const;
  bool passed() const { return Clock::now() >= mEnd; }
  // How long one blocking step may wait: `limit`, or what is left when that is less. At least
  // one millisecond, since zero means "wait forever" to most socket APIs; check passed() first.
  std::chrono::milliseconds cap(std::chrono::milliseconds limit) const;
  // The time the exchange was given, from its start to its end, for messages.
  std::chrono::milliseconds budget() const;

 private:
  Deadline(Clock::time_point start, Clock::time_point end) : mStart(start), mEnd(end) {}
  Clock::time_point mStart;
  Clock::time_point mEnd;
};

}  // namespace vantor::http
