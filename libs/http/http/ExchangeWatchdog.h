#pragma once
// Cuts an exchange off when its deadline passes. Some waits cannot be bounded from inside:
// a read loop that receives one byte at a time, or a library that parses the answer's
// headers through its own socket reads. The watchdog runs `cut` (which makes the blocked
// call return, e.g. by shutting the socket down) once, on its own thread, if the deadline
// passes before the watchdog is destroyed; the destructor waits for that thread, so `cut`
// never outlives what it touches.
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "http/Deadline.h"

namespace vantor::http {

class ExchangeWatchdog {
 public:
  ExchangeWatchdog(const Deadline& deadline, std::function<void()> cut);
  ~ExchangeWatchdog();
  ExchangeWatchdog(const ExchangeWatchdog&) = delete;
  ExchangeWatchdog& operator=(const ExchangeWatchdog&) = delete;

  // Stops watching (waits for the thread); after this fired() no longer changes.
  void stop();
  bool fired() const { return mFired.load(); }

 private:
  std::mutex mMutex;
  std::condition_variable mWake;
  bool mStopping = false;
  std::atomic<bool> mFired{false};
  std::thread mThread;
};

}  // namespace vantor::http
