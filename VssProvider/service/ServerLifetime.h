#pragma once
// How long a local server that COM started lives: while a client holds an object of it (a
// provider object, or the async object of a restore; provider/LiveObjects.h), a
// LockServer lock, or is in the middle of creating an object. When the last of these goes the
// server does not just quit, because an activation may be on its way in at that very moment:
//   1. the loop thread is told the server is idle (`idle`), and calls TryEnd there;
//   2. TryEnd suspends the class object (`suspend`: new activations no longer reach this
//      process; COM starts a new server for them) and then checks again;
//   3. still idle: the server ends, and any CreateInstance that got through before the
//      suspension is refused with CO_E_SERVER_STOPPING, an answer COM retries with a new
//      server. Busy again: the class object is resumed and the server goes on.
// No activation therefore meets a server that has gone: it gets an object, or an error that
// a retry turns into success.
#include <functional>
#include <mutex>

namespace service {

class ServerLifetime {
 public:
  struct Hooks {
    std::function<long()> liveObjects;  // objects a client may still call (provider/LiveObjects.h)
    std::function<void()> suspend;
    std::function<void()> resume;
    std::function<void()> idle;  // may be called on any thread, never under the lock
  };

  explicit ServerLifetime(Hooks hooks) : mHooks(std::move(hooks)) {}
  ServerLifetime(const ServerLifetime&) = delete;
  ServerLifetime& operator=(const ServerLifetime&) = delete;
  ~ServerLifetime() = default;

  // IClassFactory::LockServer. An unlock without a lock is ignored (and returns false).
  void Lock();
  bool Unlock();

  // Around IClassFactory::CreateInstance: false once the server has decided to end (answer
  // CO_E_SERVER_STOPPING and create nothing); after a true, EndCreate must follow.
  bool BeginCreate();
  void EndCreate();

  // The last provider object went.
  void ObjectsReleased();

  // On the loop thread. True: end now (the class object stays suspended, creations are refused).
  bool TryEnd();

  long Locks() const;

 private:
  enum class State { Running, Suspending, Ended };
  bool IdleLocked() const;
  void NotifyIfIdle();

  Hooks mHooks;
  mutable std::mutex mLock;
  long mLocks = 0;
  long mCreating = 0;
  State mState = State::Running;
};

}  // namespace service
