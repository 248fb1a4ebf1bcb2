#include "service/ServerLifetime.h"

#include "logger/FileLog.h"

namespace service {
namespace {
constexpr const wchar_t* kLogSource = L"ServerLifetime";
}  // namespace

bool ServerLifetime::IdleLocked() const {
  return mLocks == 0 && mCreating == 0 && (!mHooks.liveObjects || mHooks.liveObjects() == 0);
}

void ServerLifetime::NotifyIfIdle() {
  bool idle = false;
  {
    const std::lock_guard lock(mLock);
    idle = mState == State::Running && IdleLocked();
  }
  if (idle && mHooks.idle) mHooks.idle();
}

void ServerLifetime::Lock() {
  const std::lock_guard lock(mLock);
  ++mLocks;
}

bool ServerLifetime::Unlock() {
  {
    const std::lock_guard lock(mLock);
    if (mLocks == 0) {
      VA_LOG(MSG_WARNING, L"LockServer(FALSE) without a lock; ignored");
      return false;
    }
    --mLocks;
  }
  NotifyIfIdle();
  return true;
}

bool ServerLifetime::BeginCreate() {
  const std::lock_guard lock(mLock);
  if (mState == State::Ended) return false;
  ++mCreating;
  return true;
}

void ServerLifetime::EndCreate() {
  {
    const std::lock_guard lock(mLock);
    if (mCreating > 0) --mCreating;
  }
  NotifyIfIdle();  // a creation that failed leaves the server as idle as before
}

void ServerLifetime::ObjectsReleased() { NotifyIfIdle(); }

bool ServerLifetime::TryEnd() {
  {
    const std::lock_guard lock(mLock);
    if (mState != State::Running || !IdleLocked()) return false;
    mState = State::Suspending;
  }
  if (mHooks.suspend) mHooks.suspend();
  {
    const std::lock_guard lock(mLock);
    if (IdleLocked()) {
      mState = State::Ended;
      VA_LOG(MSG_INFO, L"Last client gone; the local server ends");
      return true;
    }
    mState = State::Running;
  }
  VA_LOG(MSG_INFO, L"A client came while the server was suspending; it goes on");
  if (mHooks.resume) mHooks.resume();
  return false;
}

long ServerLifetime::Locks() const {
  const std::lock_guard lock(mLock);
  return mLocks;
}

}  // namespace service
