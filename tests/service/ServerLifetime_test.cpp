#include "service/ServerLifetime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
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

}  // namespace
