#include "http/ExchangeWatchdog.h"

#include <utility>

namespace vantor::http {

ExchangeWatchdog::ExchangeWatchdog(const Deadline& deadline, std::function<void()> cut) {
  mThread = std::thread([this, end = deadline.at(), cut = std::move(cut)] {
    std::unique_lock<std::mutex> lock(mMutex);
    if (mWake.wait_until(lock, end, [this] { return mStopping; })) return;
    mFired = true;
    lock.unlock();
    cut();
  });
}

ExchangeWatchdog::~ExchangeWatchdog() { stop(); }

void ExchangeWatchdog::stop() {
  {
    const std::lock_guard<std::mutex> lock(mMutex);
    mStopping = true;
  }
  mWake.notify_all();
  if (mThread.joinable()) mThread.join();
}

}  // namespace vantor::http
