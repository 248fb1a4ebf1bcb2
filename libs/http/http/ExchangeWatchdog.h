#pragma once
// Cuts an exchange off when its deadline passes. Some waits cannot be bounded from inside:
// a read loop that receives one byte at a time, or a library that parses the answer's
// headers through its own socket reads. The watchdog runs `cut` (which makes the blocked
// call return, e.g. by shutting the socket down) once, if the deadline passes before the
// watchdog is stopped; stop() and the destructor wait for a cut under way, so `cut` never
// outlives what it touches. Every watchdog of the process is served by one timer thread,
// started at first use: an exchange costs no thread of its own.
#include <atomic>
#include <functional>
#include <memory>

#include "http/Deadline.h"

namespace vantor::http {

namespace detail {
struct WatchedExchange;
}

class ExchangeWatchdog {
 public:
  ExchangeWatchdog(const Deadline& deadline, std::function<void()> cut);
  ~ExchangeWatchdog();
  ExchangeWatchdog(const ExchangeWatchdog&) = delete;
  ExchangeWatchdog& operator=(const ExchangeWatchdog&) = delete;

  // Stops watching (waits for a cut under way); after this fired() no longer changes.
  void stop();
  bool fired() const;

 private:
  std::unique_ptr<detail::WatchedExchange> mWatched;
  bool mStopped = false;
};

}  // namespace vantor::http
