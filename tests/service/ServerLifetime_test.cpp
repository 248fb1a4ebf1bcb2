#include "service/ServerLifetime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using service::ServerLifetime;

// The module's side: provider objects, the class object's suspension, the loop's idle queue.
struct Host {
  std::atomic<long> objects{0};
  std::vector<std::string> journal;  // suspend/resume, from the loop thread only
  std::function<void()> onSuspend;   // what happens while the class object is being suspended
  std::atomic<int> idleCalls{0};

  ServerLifetime::Hooks Hooks() {
    return {[this] { return objects.load(); },
            [this] {
              journal.push_back("suspend");
              if (onSuspend) onSuspend();
            },
            [this] { journal.push_back("resume"); }, [this] { ++idleCalls; }};
  }
};

TEST(ServerLifetime, IdleOnlyWhenNoLockNoObjectAndNoCreationAndThenEndsAfterSuspending) {
  Host host;
  ServerLifetime lifetime(host.Hooks());
  lifetime.Lock();
  lifetime.Lock();
  EXPECT_TRUE(lifetime.Unlock());
  EXPECT_EQ(host.idleCalls, 0);  // one lock still held
  EXPECT_FALSE(lifetime.TryEnd());
  EXPECT_TRUE(host.journal.empty());  // not idle: not even suspended

  ASSERT_TRUE(lifetime.BeginCreate());
  host.objects = 1;
  EXPECT_TRUE(lifetime.Unlock());
  lifetime.EndCreate();
  EXPECT_EQ(host.idleCalls, 0);  // the object keeps it alive
  host.objects = 0;
  lifetime.ObjectsReleased();
  EXPECT_EQ(host.idleCalls, 1);

  EXPECT_FALSE(lifetime.Unlock());  // an unlock too many changes nothing
  EXPECT_EQ(lifetime.Locks(), 0);

  EXPECT_TRUE(lifetime.TryEnd());
  EXPECT_EQ(host.journal, std::vector<std::string>{"suspend"});
  EXPECT_FALSE(lifetime.BeginCreate());  // refused: CO_E_SERVER_STOPPING
  EXPECT_FALSE(lifetime.TryEnd());       // ends once
}

TEST(ServerLifetime, ClientArrivingWhileSuspendingKeepsTheServerAndResumesIt) {
  struct Case {
    const char* name;
    std::function<void(ServerLifetime&, Host&)> arrive;
  };
  const Case cases[] = {
      {"an object is created", [](ServerLifetime& l, Host& h) {
         ASSERT_TRUE(l.BeginCreate());
         h.objects = 1;
         l.EndCreate();
       }},
      {"a creation is under way", [](ServerLifetime& l, Host&) { ASSERT_TRUE(l.BeginCreate()); }},
      {"a lock is taken", [](ServerLifetime& l, Host&) { l.Lock(); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Host host;
    ServerLifetime lifetime(host.Hooks());
    host.onSuspend = [&] { c.arrive(lifetime, host); };
    EXPECT_FALSE(lifetime.TryEnd());
    EXPECT_EQ(host.journal, (std::vector<std::string>{"suspend", "resume"}));
    EXPECT_TRUE(lifetime.BeginCreate());  // still serving
    lifetime.EndCreate();
  }
}

// Many clients create and release objects while the loop thread ends the server whenever it
// is told it is idle. No client may hold an object of a server that has ended.
TEST(ServerLifetime, ActivationsRacingTheLastReleaseNeverMeetAnEndedServer) {
  for (int round = 0; round < 20; ++round) {
    std::mutex queueLock;
    std::condition_variable queued;
    int pendingIdle = 0;
    std::atomic<long> objects{0};
    std::atomic<bool> ended{false};
    std::atomic<int> violations{0};
    ServerLifetime lifetime({[&] { return objects.load(); }, [] {}, [] {},
                             [&] {
                               const std::lock_guard lock(queueLock);
                               ++pendingIdle;
                               queued.notify_one();
                             }});
    std::thread loop([&] {
      std::unique_lock lock(queueLock);
      while (!ended) {
        queued.wait(lock, [&] { return pendingIdle > 0; });
        --pendingIdle;
        lock.unlock();
        if (lifetime.TryEnd()) ended = true;
        lock.lock();
      }
    });
    std::vector<std::thread> clients;
    for (int c = 0; c < 4; ++c) {
      clients.emplace_back([&] {
        for (int i = 0; i < 200 && !ended; ++i) {
          if (!lifetime.BeginCreate()) continue;  // refused: the server has decided to end
          std::this_thread::yield();              // constructing the object takes a moment
          ++objects;
          lifetime.EndCreate();
          if (ended) ++violations;  // holding an object of a server that has gone
          std::this_thread::yield();
          if (ended) ++violations;
          if (--objects == 0) lifetime.ObjectsReleased();
        }
      });
    }
    for (std::thread& client : clients) client.join();
    // The last client's release makes the server idle; it ends.
    {
      const std::lock_guard lock(queueLock);
      ++pendingIdle;
      queued.notify_one();
    }
    loop.join();
    EXPECT_EQ(violations, 0);
    EXPECT_EQ(objects, 0);
    EXPECT_FALSE(lifetime.BeginCreate());
  }
}

}  // namespace
