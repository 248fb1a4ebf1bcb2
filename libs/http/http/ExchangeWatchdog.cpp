#include "http/ExchangeWatchdog.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace vantor::http {

namespace detail {
struct WatchedExchange {
  std::chrono::steady_clock::time_point end;
  std::function<void()> cut;
  std::atomic<bool> fired{false};
};
}  // namespace detail

namespace {

using detail::WatchedExchange;

// The process's one timer thread: it sleeps until the earliest deadline it watches and runs
// the cut of every exchange whose deadline has passed. It is woken only for a deadline earlier
// than the one it sleeps until: a forgotten exchange leaves it asleep, and the next exchange's
// later deadline is found when that wait ends. So a run of exchanges costs no wake-up each.
class WatchdogTimer {
 public:
  static WatchdogTimer& instance() {
    static WatchdogTimer timer;
    return timer;
  }

  void watch(WatchedExchange& watched) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto it = mPending.emplace(watched.end, &watched);
    if (!mThread.joinable()) mThread = std::thread([this] { run(); });
    if (it == mPending.begin() && watched.end < mSleepingUntil) mWake.notify_one();
  }

  // After this the cut of `watched` neither runs nor is running.
  void forget(WatchedExchange& watched) {
    std::unique_lock<std::mutex> lock(mMutex);
    const auto [first, last] = mPending.equal_range(watched.end);
    for (auto it = first; it != last; ++it) {
      if (it->second == &watched) {
        mPending.erase(it);
        break;
      }
    }
    mCutDone.wait(lock, [&] { return mCutting != &watched; });
  }

  ~WatchdogTimer() {
    {
      const std::lock_guard<std::mutex> lock(mMutex);
      mStopping = true;
    }
    mWake.notify_one();
    if (mThread.joinable()) mThread.join();
  }

 private:
  WatchdogTimer() = default;

  void run() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mStopping) {
      if (mPending.empty()) {
        mSleepingUntil = Clock::time_point::max();
        mWake.wait(lock, [this] { return mStopping || !mPending.empty(); });
        mSleepingUntil = Clock::time_point::min();
        continue;
      }
      const auto earliest = mPending.begin();
      if (const auto until = earliest->first; Clock::now() < until) {
        // A copy: the entry may be forgotten (and freed) while this thread waits.
        mSleepingUntil = until;
        mWake.wait_until(lock, until);
        mSleepingUntil = Clock::time_point::min();
        continue;
      }
      WatchedExchange* const due = earliest->second;
      mPending.erase(earliest);
      due->fired = true;
      mCutting = due;
      lock.unlock();
      due->cut();
      lock.lock();
      mCutting = nullptr;
      mCutDone.notify_all();
    }
  }

  std::mutex mMutex;
  std::condition_variable mWake;
  std::condition_variable mCutDone;
  using Clock = std::chrono::steady_clock;
  std::multimap<Clock::time_point, WatchedExchange*> mPending;
  // What the thread waits for: max while it waits for any deadline, min while it is not
  // waiting (it looks at the earliest deadline before it waits again).
  Clock::time_point mSleepingUntil = Clock::time_point::min();
  WatchedExchange* mCutting = nullptr;
  bool mStopping = false;
  std::thread mThread;
};

}  // namespace

ExchangeWatchdog::ExchangeWatchdog(const Deadline& deadline, std::function<void()> cut)
    : mWatched(std::make_unique<WatchedExchange>()) {
  mWatched->end = deadline.at();
  mWatched->cut = std::move(cut);
  WatchdogTimer::instance().watch(*mWatched);
}

ExchangeWatchdog::~ExchangeWatchdog() { stop(); }

void ExchangeWatchdog::stop() {
  if (mStopped) return;
  mStopped = true;
  WatchdogTimer::instance().forget(*mWatched);
}

bool ExchangeWatchdog::fired() const { return mWatched->fired.load(); }

}  // namespace vantor::http
